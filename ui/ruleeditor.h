// The rule editor: what is broadcast when. It works on a copy of the rules, and only "Appliquer" makes
// the copy count. Main thread.
#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "schedule/grille.h"
#include "ui/look/arriereplan.h"
#include "ui/look/msgtarget.h"

class QPushButton;
class QTimer;

namespace tonara {

class CIconButton;
class CRuleFields;
class CRuleTree;

/// What an audio file is good for as a message.
enum class EtatFormat { Bon, TypeInconnu, Illisible, NonStereo };
/// Blocks on the disk. Any thread.
EtatFormat SondeFormat(const std::string& szPath);

/// The questions to the disk, which are asked on other threads; tests bring their own.
struct SondesRegles {
  SondesRegles();

  std::function<bool(const std::string&)> fnAccessible;
  std::function<EtatFormat(const std::string&)> fnFormat;
  int nDelaiMs = 10000;  ///< a file whose format is not known by then is refused
};

class CRuleEditor final : public QDialog {
  Q_OBJECT

 public:
  CRuleEditor(std::vector<Rule> vRules, QWidget* pParent, SondesRegles sondes = {});
  ~CRuleEditor() override;

  /// The working copy.
  [[nodiscard]] const std::vector<Rule>& Regles() const { return m_vRules; }
  /// Adds a rule for a file, if it is of a kind and format that can be broadcast; else tells the operator.
  /// An audio file's format is looked up first, in the background.
  void AjouteFichier(const std::string& szPath);
  void AjouteDossier(const std::string& szPath);
  void SupprimeRegle();

  /// Every way out comes through here.
  void done(int nResultat) override;

 private:
  void ChoisitFichier();
  void ChoisitDossier();
  void AjouteRegle(Rule rule);
  void ReponseFormat(EtatFormat eEtat);
  void SetAttenteFormat(bool bAttente);
  void Refuse(EtatFormat eEtat);
  void Choisie(int nRegle);
  void Modifiee(const Rule& rule);
  void BasculeEcoute();
  void Ecoute(const std::string& szPath);
  void ArreteEcoute();

  std::vector<Rule> m_vRules;
  const SondesRegles m_sondes;
  CRuleTree* m_pArbre;
  CRuleFields* m_pChamps;
  CIconButton* m_pAjouterFichier;
  CIconButton* m_pAjouterDossier;
  CIconButton* m_pEcouter;
  CIconButton* m_pSupprimer;
  QPushButton* m_pAppliquer;
  QTimer* m_pDelaiFormat;

  bool m_bEcoute = false;                      ///< the preview is ours, or its file is being looked for
  std::unique_ptr<CMsgReceiver> m_pFinEcoute;  ///< of the present listening: an older one's end is lost
  bool m_bAttenteFormat = false;               ///< a file waits for its format
  std::string m_szAttendu;                     ///< that file
  CArrierePlan m_sondeFormat{1};
  CArrierePlan m_sondeEcoute{1};  ///< the first look at a file to listen to
};

/// Lets the operator edit *pvRules. Non-zero, with the new rules, if he applied them; 0 otherwise, also when
/// the parent goes meanwhile. Saving is the caller's. Returns when the dialog has ended.
int EditRules(QWidget* pParent, std::vector<Rule>* pvRules);

}  // namespace tonara
