// What the programmes' dialogs have in common: no OK and no cancel, closing applies. Main thread.
#pragma once

#include <QDialog>
#include <functional>
#include <string>

class QPushButton;

namespace tonara {

class CTextBox;

class CReglageDlg : public QDialog {
  Q_OBJECT

 public:
  CReglageDlg(const QString& szTitre, QWidget* pParent);

  /// The close box, Escape and the program's end: the result is 1 if the operator changed something.
  void reject() override { done(Applique() ? 1 : 0); }
  /// There is nothing to confirm.
  void accept() override {}

 protected:
  /// Takes over what the dialog shows; true if that is something new.
  virtual bool Applique() { return false; }
  /// Enter presses the button that has the focus, and nothing else.
  void keyPressEvent(QKeyEvent* pEvent) override;
  /// A button that Enter in another control doesn't press.
  QPushButton* Bouton(const QString& szTexte, QWidget* pParent);
};

/// A path that the operator chooses: a box that shows it, cut in the middle where it is too long, and the
/// button "...". The path stays as it is on the disk, in whatever encoding.
class CChampChemin final : public QWidget {
  Q_OBJECT

 public:
  /// fnChoisir lets the operator choose: true with the new path. This may be gone when it returns.
  CChampChemin(const QString& szNom, const QString& szBulle, std::string szPath,
               std::function<bool(std::string*)> fnChoisir, QWidget* pParent);

  [[nodiscard]] const std::string& Chemin() const { return m_szPath; }

 private:
  void Choisit();
  void Montre();

  std::string m_szPath;
  std::function<bool(std::string*)> m_fnChoisir;
  CTextBox* m_pTexte;
};

}  // namespace tonara
