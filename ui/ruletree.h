// The rule editor's tree: a line for each file or folder, and under it a line for each of its rules.
// Which files are there is asked in the background; until the answer comes a file counts as there.
#pragma once

#include <QIcon>
#include <QTreeWidget>
#include <array>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "ui/look/arriereplan.h"
#include "ui/ruletext.h"

namespace tonara {

/// Main thread. The operator can stand on rule lines only; a file's line sends him to its first rule.
class CRuleTree final : public QTreeWidget {
  Q_OBJECT

 public:
  /// Shows these rules, which outlive the tree. fnAccessible is called on other threads and may block.
  CRuleTree(const std::vector<Rule>& vRules, std::function<bool(const std::string&)> fnAccessible, QWidget* pParent);

  /// Makes all lines anew, with no rule selected. Asks anew which files are there.
  void Remplit();
  /// Selects that rule's line; nothing for an index that there isn't.
  void Selectionne(int nRegle);
  /// Index of the selected rule, -1 if there is none.
  [[nodiscard]] int Courante() const { return m_nCourante; }
  /// The rule has changed: makes its line's text and image anew.
  void Actualise(int nRegle);

 signals:
  /// Another rule is selected, or none (-1).
  void RegleChoisie(int nRegle);

 protected:
  /// Keys go from rule to rule, past the lines of files.
  QModelIndex moveCursor(CursorAction eAction, Qt::KeyboardModifiers eTouches) override;

 private:
  struct Fichier {
    QTreeWidgetItem* pLigne = nullptr;
    bool bDossier = false;
    std::vector<int> vRegles;
  };

  void Change(QTreeWidgetItem* pLigne);
  void DessineFichier(const std::string& szPath, const Fichier& fichier);
  void Reponse(const std::string& szPath, bool bAccessible);
  [[nodiscard]] bool Accessible(const std::string& szPath) const;

  const std::vector<Rule>& m_vRules;
  const std::function<bool(const std::string&)> m_fnAccessible;
  std::array<QIcon, kNbImagesRegle> m_images;
  bool m_bTreeReset = false;  ///< being emptied: selections mean nothing
  int m_nCourante = -1;
  std::vector<QTreeWidgetItem*> m_vLignes;  ///< of the rules, by index
  std::unordered_map<std::string, Fichier> m_fichiers;
  std::unordered_map<std::string, bool> m_acces;  ///< last answers, shown until newer ones come
  CArrierePlan m_sondes;
};

}  // namespace tonara
