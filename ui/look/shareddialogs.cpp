#include "ui/look/shareddialogs.h"

#include <QAbstractButton>
#include <QAbstractFileIconProvider>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <cmath>

#include "platform/paths.h"
#include "ui/look/arriereplan.h"
#include "ui/look/look.h"

namespace tonara {
namespace {

constexpr int kMargeDossiers = 10;
constexpr int kCoteImage = 16;
constexpr QSize kTailleDossiers{440, 460};
constexpr QSize kTailleFichiers{720, 460};

QIcon Image(const char* szNom, const QWidget* pFenetre) {
  const QString szDessin = QString::fromLatin1(szNom);
  return QIcon(DessineIcone(szDessin, {kCoteImage, kCoteImage}, std::ceil(pFenetre->devicePixelRatioF())));
}

/// Our drawings for files and folders. Asked on the model's thread, which reads the disk: so it only hands
/// out what it has made beforehand, and it is the window's child behind the model, to go after it.
class CImagesFichiers final : public QObject, public QAbstractFileIconProvider {
 public:
  explicit CImagesFichiers(QWidget* pFenetre)
      : QObject(pFenetre),
        m_fichier(Image("line-file", pFenetre)),
        m_dossier(Image("line-folder", pFenetre)),
        m_ordinateur(Image("line-computer", pFenetre)) {}

  [[nodiscard]] QIcon icon(IconType eType) const override {
    if (eType == Computer || eType == Drive) return m_ordinateur;
    return eType == File ? m_fichier : m_dossier;
  }
  [[nodiscard]] QIcon icon(const QFileInfo& fichier) const override { return fichier.isDir() ? m_dossier : m_fichier; }

 private:
  QIcon m_fichier;
  QIcon m_dossier;
  QIcon m_ordinateur;
};

class CDialogueFichier final : public QFileDialog {
 public:
  explicit CDialogueFichier(QWidget* pParent) : QFileDialog(pParent) {
    // Our own look, and the same dialog on every desktop. Choosing changes nothing on the disk.
    setOption(DontUseNativeDialog);
    setOption(ReadOnly);
    setOption(HideNameFilterDetails);
    setIconProvider(new CImagesFichiers(this));
    setViewMode(List);
    constexpr std::pair<const char*, const char*> kBoutons[] = {{"backButton", "nav-back"},
                                                                {"forwardButton", "nav-forward"},
                                                                {"toParentButton", "nav-up"},
                                                                {"listModeButton", "view-list"},
                                                                {"detailModeButton", "view-detail"}};
    for (const auto& [szBouton, szImage] : kBoutons) {
      if (auto* pBouton = findChild<QToolButton*>(QLatin1String(szBouton))) pBouton->setIcon(Image(szImage, this));
    }
    if (auto* pNouveau = findChild<QToolButton*>(QStringLiteral("newFolderButton"))) pNouveau->hide();
    resize(kTailleFichiers);
  }

 protected:
  void accept() override {
    const QStringList vChoix = selectedFiles();
    if (fileMode() == AnyFile && !vChoix.isEmpty() && !QFileInfo(vChoix.first()).absoluteDir().exists()) {
      ShowBox(this, QStringLiteral("Ce dossier n'existe pas."), windowTitle());
      return;
    }
    QFileDialog::accept();
  }
};

class CDialogueDossier final : public QDialog {
 public:
  CDialogueDossier(QWidget* pParent, const QString& szTitre, const QString& szDepart, bool bEdit)
      : QDialog(pParent), m_pModele(new QFileSystemModel(this)), m_pArbre(new QTreeView(this)) {
    setWindowTitle(szTitre);
    m_pModele->setFilter(QDir::Dirs | QDir::Drives | QDir::NoDotAndDotDot);
    m_pModele->setIconProvider(new CImagesFichiers(this));
    m_pModele->setRootPath(QDir::rootPath());
    m_pArbre->setModel(m_pModele);
    m_pArbre->setHeaderHidden(true);
    m_pArbre->setUniformRowHeights(true);
    m_pArbre->setAccessibleName(QStringLiteral("Répertoires"));
    for (int n = 1; n < m_pModele->columnCount(); ++n) m_pArbre->hideColumn(n);

    auto* pOk = new QPushButton(QStringLiteral("OK"), this);
    auto* pAnnuler = new QPushButton(QStringLiteral("Annuler"), this);
    pOk->setObjectName(QStringLiteral("ok"));
    pOk->setDefault(true);
    m_pOk = pOk;
    auto* pBoutons = new QHBoxLayout;
    pBoutons->addStretch();
    pBoutons->addWidget(pOk);
    pBoutons->addWidget(pAnnuler);
    auto* pFenetre = new QVBoxLayout(this);
    pFenetre->setContentsMargins(kMargeDossiers, kMargeDossiers, kMargeDossiers, kMargeDossiers);
    pFenetre->setSpacing(kMargeDossiers);
    pFenetre->addWidget(m_pArbre);
    if (bEdit) {
      m_pNom = new QLineEdit(this);
      m_pNom->setAccessibleName(QStringLiteral("Nom du répertoire"));
      pFenetre->addWidget(m_pNom);
      connect(m_pNom, &QLineEdit::textEdited, this, &CDialogueDossier::Examine);
    }
    pFenetre->addLayout(pBoutons);
    resize(kTailleDossiers);

    connect(m_pArbre->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& index) {
      const QString szPath = index.isValid() ? m_pModele->filePath(index) : QString();
      if (m_pNom != nullptr) m_pNom->setText(QDir::toNativeSeparators(szPath));
      Examine(szPath);
    });
    // The folders arrive one by one; until the operator does something the first choice is kept in view.
    connect(
        m_pModele, &QFileSystemModel::directoryLoaded, m_pArbre,
        [this] { m_pArbre->scrollTo(m_pArbre->currentIndex(), QAbstractItemView::PositionAtCenter); },
        Qt::QueuedConnection);
    connect(m_pArbre, &QAbstractItemView::pressed, this,
            [this] { disconnect(m_pModele, &QFileSystemModel::directoryLoaded, m_pArbre, nullptr); });
    connect(pOk, &QPushButton::clicked, this, &QDialog::accept);
    connect(pAnnuler, &QPushButton::clicked, this, &QDialog::reject);

    m_pOk->setEnabled(false);
    const QModelIndex depart = m_pModele->index(szDepart);
    if (depart.isValid()) {
      m_pArbre->setCurrentIndex(depart);
      m_pArbre->expand(depart);
    }
  }

  [[nodiscard]] const QString& Choix() const { return m_szChoix; }

 private:
  void Examine(const QString& szPath) {
    m_szChoix = szPath;
    m_pOk->setEnabled(false);
    m_sondes.OublieAttente();
    if (szPath.isEmpty()) return;
    m_sondes.Demande([this, szPath, octets = szPath.toStdString()]() -> CArrierePlan::Suite {
      const bool bDossier = IsFolder(octets);
      return [this, szPath, bDossier] {
        if (m_szChoix == szPath) m_pOk->setEnabled(bDossier);
      };
    });
  }

  QFileSystemModel* m_pModele;
  QTreeView* m_pArbre;
  QLineEdit* m_pNom = nullptr;
  QAbstractButton* m_pOk;
  QString m_szChoix;
  CArrierePlan m_sondes{2};
};

}  // namespace

QStringList FiltresFichiers(const QString& szFiltre) {
  const QString szTexte = szFiltre.isEmpty() ? QStringLiteral("Tous|*.*|") : szFiltre;
  QStringList vFiltres;
  const QStringList vParts = szTexte.chopped(1).split(szTexte.back());
  for (qsizetype n = 0; n + 1 < vParts.size(); n += 2) {
    QStringList vMotifs = vParts[n + 1].split(QLatin1Char(';'), Qt::SkipEmptyParts);
    // Here a name need not have a dot.
    vMotifs.replaceInStrings(QStringLiteral("*.*"), QStringLiteral("*"));
    vFiltres += QStringLiteral("%1 (%2)").arg(vParts[n], vMotifs.join(QLatin1Char(' ')));
  }
  return vFiltres;
}

bool ChoisirFichier(QWidget* pParent, std::string* pOut, const QString& szFiltre, const QString& szTitre, int nMode,
                    const std::string& szDossier) {
  if (pOut == nullptr) return false;
  static QString s_szDernier;
  const CDialogueTemp dialogue(std::make_unique<CDialogueFichier>(pParent));
  dialogue->setWindowTitle(szTitre.isEmpty() ? QStringLiteral("Choix Fichier") : szTitre);
  dialogue->setFileMode(nMode == kFichierExistant ? QFileDialog::ExistingFile : QFileDialog::AnyFile);
  dialogue->setAcceptMode(QFileDialog::AcceptOpen);
  dialogue->setNameFilters(FiltresFichiers(szFiltre));
  const QString szDepart = szDossier.empty() ? s_szDernier : QString::fromStdString(szDossier);
  if (!szDepart.isEmpty()) dialogue->setDirectory(szDepart);
  const int nResultat = dialogue->exec();
  if (!dialogue || nResultat != QDialog::Accepted || dialogue->selectedFiles().isEmpty()) return false;
  s_szDernier = dialogue->directory().absolutePath();
  *pOut = dialogue->selectedFiles().first().toStdString();
  return true;
}

bool ChoisirDossier(QWidget* pParent, const std::string& szDepart, const QString& szTitre, std::string* pOut,
                    bool bEdit) {
  if (pOut == nullptr) return false;
  const QString szDebut = szDepart.empty() ? QDir::currentPath() : QString::fromStdString(szDepart);
  const CDialogueTemp dialogue(std::make_unique<CDialogueDossier>(pParent, szTitre, szDebut, bEdit));
  const int nResultat = dialogue->exec();
  if (!dialogue || nResultat != QDialog::Accepted) return false;
  *pOut = QDir::cleanPath(dialogue->Choix()).toStdString();
  return true;
}

bool Confirme(QWidget* pParent, const QString& szTexte, const QString& szTitre) {
  const CDialogueTemp boite(std::make_unique<QMessageBox>(QMessageBox::NoIcon, szTitre, szTexte,
                                                          QMessageBox::Ok | QMessageBox::Cancel, pParent));
  boite->setTextFormat(Qt::PlainText);
  boite->setIconPixmap(DessineIcone(QStringLiteral("warning"), {40, 40}, boite->devicePixelRatioF()));
  for (QAbstractButton* pBouton : boite->buttons()) pBouton->setIcon(QIcon());
  boite->setDefaultButton(QMessageBox::Ok);
  const int nResultat = boite->exec();
  return boite && nResultat == QMessageBox::Ok;
}

}  // namespace tonara
