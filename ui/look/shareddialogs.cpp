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
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <atomic>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/paths.h"
#include "ui/look/arriereplan.h"
#include "ui/look/look.h"

namespace tonara {
namespace {

constexpr int kMargeDossiers = 10;
constexpr QSize kTailleDossiers{440, 460};
constexpr QSize kTailleFichiers{720, 460};
constexpr int kPatienceMs = 100;  // for a disk, with the window standing still
constexpr int kPeriodeRetenueMs = 500;

void OuvreDossier(const std::string& szPath) {
  std::error_code ignored;
  const std::filesystem::directory_iterator dossier(szPath, ignored);
}

// By pointer: a question that hangs outlives everything.
using Sonde = std::function<void(const std::string&)>;
std::shared_ptr<const Sonde> s_pSonde = std::make_shared<const Sonde>(&OuvreDossier);

/// The toolkit asks the disk on the main thread as it goes to a folder: so a dead one is never gone to.
bool Repond(const QString& szDossier) {
  return FaitEnMoinsDe(kPatienceMs, [pSonde = s_pSonde, octets = szDossier.toStdString()] { (*pSonde)(octets); });
}

/// Where to begin: the folder wished for, or the nearest thing to it that answers.
QString Depart(const QString& szVoulu) {
  for (const QString& szDossier : {szVoulu, QDir::currentPath(), QDir::homePath()}) {
    if (!szDossier.isEmpty() && Repond(szDossier) && QFileInfo(szDossier).isDir()) return szDossier;
  }
  return QDir::rootPath();
}

/// Deletes a dialog that shows folders. Its model waits for a thread of its own then, which may hang in one of
/// them: until all answer the dialog is kept out of sight, for ever if need be.
void Efface(QDialog* pDialogue, const QStringList& vVus) {
  // What that thread does: it looks at each file of each folder.
  const auto pFini = std::make_shared<std::atomic<bool>>(false);
  const bool bFini = FaitEnMoinsDe(kPatienceMs, [pSonde = s_pSonde, pFini, vVus] {
    for (const QString& szDossier : vVus) {
      const std::string octets = szDossier.toStdString();
      (*pSonde)(octets);
      std::error_code ignored;
      for (const auto& entree : std::filesystem::directory_iterator(octets, ignored)) entree.status(ignored);
    }
    *pFini = true;
  });
  if (bFini) {
    delete pDialogue;
    return;
  }
  pDialogue->setParent(nullptr);  // which mustn't take it along
  auto* pTimer = new QTimer(pDialogue);
  QObject::connect(pTimer, &QTimer::timeout, pDialogue, [pDialogue, pFini] {
    if (*pFini) pDialogue->deleteLater();
  });
  pTimer->start(kPeriodeRetenueMs);
}

/// CDialogueTemp for these dialogs.
template <class T>
class CDialogueDisque {
 public:
  explicit CDialogueDisque(std::unique_ptr<T> pDialogue) : m_pDialogue(pDialogue.release()) {}
  ~CDialogueDisque() {
    if (!m_pDialogue.isNull()) Efface(m_pDialogue, m_pDialogue->Vus());
  }
  CDialogueDisque(const CDialogueDisque&) = delete;
  CDialogueDisque& operator=(const CDialogueDisque&) = delete;

  T* operator->() const { return m_pDialogue.data(); }
  explicit operator bool() const { return !m_pDialogue.isNull(); }

 private:
  QPointer<T> m_pDialogue;
};

/// Our drawings for files and folders. Asked on the model's thread, which reads the disk: so it only hands
/// out what it has made beforehand, and it is the window's child behind the model, to go after it.
class CImagesFichiers final : public QObject, public QAbstractFileIconProvider {
 public:
  explicit CImagesFichiers(QWidget* pFenetre)
      : QObject(pFenetre),
        m_fichier(IconeLigne("line-file", *pFenetre)),
        m_dossier(IconeLigne("line-folder", *pFenetre)),
        m_ordinateur(IconeLigne("line-computer", *pFenetre)) {}

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

/// Sizes and dates of the detail view in French: the model writes them in the system's language.
class CDetailsFichiers final : public QStyledItemDelegate {
 public:
  enum Colonne : int { kTaille = 1, kType = 2, kDate = 3 };
  using QStyledItemDelegate::QStyledItemDelegate;

 protected:
  void initStyleOption(QStyleOptionViewItem* pOption, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(pOption, index);
    const auto* pModele = qobject_cast<const QFileSystemModel*>(index.model());
    if (pModele == nullptr || pOption->text.isEmpty()) return;
    const QLocale francais;
    if (index.column() == kTaille) pOption->text = francais.formattedDataSize(pModele->size(index));
    if (index.column() == kDate) pOption->text = francais.toString(pModele->lastModified(index), QLocale::ShortFormat);
  }
};

class CDialogueFichier final : public QFileDialog {
 public:
  CDialogueFichier(QWidget* pParent, const QString& szDepart) : QFileDialog(pParent, {}, szDepart), m_vVus(szDepart) {
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
      if (auto* pBouton = findChild<QToolButton*>(QLatin1String(szBouton)))
        pBouton->setIcon(IconeLigne(szImage, *this));
    }
    if (auto* pDetails = findChild<QTreeView*>()) {
      pDetails->setItemDelegate(new CDetailsFichiers(pDetails));
      const int nChiffre = fontMetrics().horizontalAdvance(QLatin1Char('0'));
      for (const auto& [nColonne, nChiffres] : {std::pair{0, 25},
                                                {int{CDetailsFichiers::kTaille}, 10},
                                                {int{CDetailsFichiers::kType}, 19},
                                                {int{CDetailsFichiers::kDate}, 17}}) {
        pDetails->header()->resizeSection(nColonne, nChiffres * nChiffre);
      }
    }
    if (auto* pNouveau = findChild<QToolButton*>(QStringLiteral("newFolderButton"))) pNouveau->hide();
    // Into a folder only once its disk has answered.
    for (QAbstractItemView* pListe : findChildren<QAbstractItemView*>()) {
      if (!QObject::disconnect(pListe, SIGNAL(activated(QModelIndex)), this, SLOT(_q_enterDirectory(QModelIndex)))) {
        continue;
      }
      connect(pListe, &QAbstractItemView::activated, this, &CDialogueFichier::Entre);
    }
    connect(this, &QFileDialog::directoryEntered, this, [this](const QString& szDossier) { m_vVus += szDossier; });
    resize(TailleSelonFonte(*this, kTailleFichiers));
  }

  /// The folders that have been shown.
  [[nodiscard]] const QStringList& Vus() const { return m_vVus; }

 protected:
  void accept() override {
    const QStringList vChoix = selectedFiles();
    if (fileMode() == AnyFile && !vChoix.isEmpty() && !QFileInfo(vChoix.first()).absoluteDir().exists()) {
      ShowBox(this, QStringLiteral("Ce dossier n'existe pas."), windowTitle());
      return;
    }
    QFileDialog::accept();
  }
  void showEvent(QShowEvent* pEvent) override {
    // Not earlier: whoever sets the dialog up has its buttons made anew.
    for (QPushButton* pBouton : findChildren<QPushButton*>()) pBouton->setIcon({});
    QFileDialog::showEvent(pEvent);
  }

 private:
  void Entre(const QModelIndex& index) {
    const auto* pModele = qobject_cast<const QFileSystemModel*>(index.model());
    if (pModele != nullptr && pModele->isDir(index) && !Repond(pModele->filePath(index))) {
      ShowBox(this, QStringLiteral("Ce dossier ne répond pas."), windowTitle());
      return;
    }
    QMetaObject::invokeMethod(this, "_q_enterDirectory", Q_ARG(QModelIndex, index));
  }

  QStringList m_vVus;
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
    resize(TailleSelonFonte(*this, kTailleDossiers));

    connect(m_pArbre->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& index) {
      const QString szPath = index.isValid() ? m_pModele->filePath(index) : QString();
      if (m_pNom != nullptr) m_pNom->setText(QDir::toNativeSeparators(szPath));
      Examine(szPath);
    });
    // The folders arrive one by one; until the operator does something the first choice is kept in view.
    const auto suit = [this] { m_pArbre->scrollTo(m_pArbre->currentIndex(), QAbstractItemView::PositionAtCenter); };
    const auto arrivee = connect(m_pModele, &QFileSystemModel::directoryLoaded, m_pArbre, suit, Qt::QueuedConnection);
    const auto tri = connect(m_pModele, &QFileSystemModel::layoutChanged, m_pArbre, suit, Qt::QueuedConnection);
    connect(m_pArbre, &QAbstractItemView::pressed, this, [arrivee, tri] {
      disconnect(arrivee);
      disconnect(tri);
    });
    connect(pOk, &QPushButton::clicked, this, &QDialog::accept);
    connect(pAnnuler, &QPushButton::clicked, this, &QDialog::reject);

    connect(m_pArbre, &QTreeView::expanded, this,
            [this](const QModelIndex& index) { m_vVus += m_pModele->filePath(index); });

    m_pOk->setEnabled(false);
    const QModelIndex depart = m_pModele->index(szDepart);
    if (depart.isValid()) {
      m_pArbre->setCurrentIndex(depart);
      m_pArbre->expand(depart);
    }
  }

  [[nodiscard]] const QString& Choix() const { return m_szChoix; }
  /// The folders that have been shown.
  [[nodiscard]] const QStringList& Vus() const { return m_vVus; }

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
  QStringList m_vVus{QDir::rootPath()};
  CArrierePlan m_sondes{2};
};

}  // namespace

void SetSondeDossier(std::function<void(const std::string&)> fnSonde) {
  s_pSonde = std::make_shared<const Sonde>(fnSonde ? std::move(fnSonde) : &OuvreDossier);
}

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
  // The toolkit keeps the last folder of any of its programs in a file, and would go there unasked.
  QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("/dev/null"));
  const QString szDepart = Depart(szDossier.empty() ? s_szDernier : QString::fromStdString(szDossier));
  const CDialogueDisque dialogue(std::make_unique<CDialogueFichier>(pParent, szDepart));
  dialogue->setWindowTitle(szTitre.isEmpty() ? QStringLiteral("Choix Fichier") : szTitre);
  dialogue->setFileMode(nMode == kFichierExistant ? QFileDialog::ExistingFile : QFileDialog::AnyFile);
  dialogue->setAcceptMode(QFileDialog::AcceptOpen);
  dialogue->setNameFilters(FiltresFichiers(szFiltre));
  const int nResultat = dialogue->exec();
  if (!dialogue || nResultat != QDialog::Accepted || dialogue->selectedFiles().isEmpty()) return false;
  s_szDernier = dialogue->directory().absolutePath();
  *pOut = dialogue->selectedFiles().first().toStdString();
  return true;
}

bool ChoisirDossier(QWidget* pParent, const std::string& szDepart, const QString& szTitre, std::string* pOut,
                    bool bEdit) {
  if (pOut == nullptr) return false;
  const QString szDebut = Depart(QString::fromStdString(szDepart));
  const CDialogueDisque dialogue(std::make_unique<CDialogueDossier>(pParent, szTitre, szDebut, bEdit));
  const int nResultat = dialogue->exec();
  if (!dialogue || nResultat != QDialog::Accepted) return false;
  *pOut = QDir::cleanPath(dialogue->Choix()).toStdString();
  return true;
}

bool Confirme(QWidget* pParent, const QString& szTexte, const QString& szTitre) {
  const CDialogueTemp boite(std::make_unique<QMessageBox>(QMessageBox::NoIcon, szTitre, szTexte,
                                                          QMessageBox::Ok | QMessageBox::Cancel, pParent));
  HabilleBoite(boite.operator->());
  boite->setDefaultButton(QMessageBox::Ok);
  const int nResultat = boite->exec();
  return boite && nResultat == QMessageBox::Ok;
}

}  // namespace tonara
