// Dialogs that others use: the file chooser, the folder browser, a question. Main thread. They return
// when the operator has answered; timers and messages go on meanwhile. If the parent goes while one is
// open (the program ends), they return false.
#pragma once

#include <QDialog>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <string>

namespace tonara {

/// A dialog on the heap for a scope. Its parent may be deleted while it runs (the program ends), and then
/// takes it along: the dialog is null from there on, and so may be whoever has run it.
template <class T>
class CDialogueTemp {
 public:
  explicit CDialogueTemp(std::unique_ptr<T> pDialogue) : m_pDialogue(pDialogue.release()) {}
  ~CDialogueTemp() { delete m_pDialogue.data(); }
  CDialogueTemp(const CDialogueTemp&) = delete;
  CDialogueTemp& operator=(const CDialogueTemp&) = delete;

  T* operator->() const { return m_pDialogue.data(); }
  explicit operator bool() const { return !m_pDialogue.isNull(); }

 private:
  QPointer<T> m_pDialogue;
};

/// Modes of ChoisirFichier.
inline constexpr int kFichierExistant = 0;  ///< file and folder must exist
inline constexpr int kDossierExistant = 1;  ///< the folder must exist

/// Lets the operator choose a file. szFiltre is pairs of label and pattern ("*.mp3;*.wav"), each ended by
/// the separator, which is the text's last character; empty: "Tous|*.*|". "*.*" stands for every file,
/// and case doesn't count. szTitre empty: "Choix Fichier". szDossier empty: the folder of the last choice.
/// True with *pOut set if a file was chosen; false for a null pOut. A path is never cut.
bool ChoisirFichier(QWidget* pParent, std::string* pOut, const QString& szFiltre, const QString& szTitre, int nMode,
                    const std::string& szDossier);

/// What both of them ask a folder's disk, on another thread, before they show the folder: it blocks while the
/// disk doesn't answer, and then they begin elsewhere. Null: the real question. For tests.
void SetSondeDossier(std::function<void(const std::string&)> fnSonde);

/// The filter as QFileDialog takes it: "label (pattern pattern)". For ChoisirFichier and its tests.
QStringList FiltresFichiers(const QString& szFiltre);

/// Lets the operator choose a folder. szDepart is selected at first; empty: the current directory. The title
/// is the window's caption; bEdit adds a field for the name. OK is held back for what is no folder that
/// exists. True with *pOut (without a '/' at its end) set if one was chosen.
bool ChoisirDossier(QWidget* pParent, const std::string& szDepart, const QString& szTitre, std::string* pOut,
                    bool bEdit = false);

/// Asks with the buttons OK and cancel; true for OK.
bool Confirme(QWidget* pParent, const QString& szTexte, const QString& szTitre);

}  // namespace tonara
