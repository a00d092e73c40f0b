#include "ui/listeevents.h"

#include <QAbstractTableModel>
#include <QDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPointer>
#include <QScrollBar>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "ui/look/iconbutton.h"
#include "ui/look/look.h"
#include "ui/ruleeditor.h"

namespace tonara {
namespace {

enum Colonne : int { kHeure, kType, kNom, kNbColonnes };
constexpr int kLargeurs[kNbColonnes] = {50, 100, 150};
constexpr QSize kTailleListe{460, 420};
constexpr QSize kTailleBouton{40, 40};

/// The listed events as they were at one moment.
class CPlanModel final : public QAbstractTableModel {
 public:
  using QAbstractTableModel::QAbstractTableModel;

  void Lit() {
    beginResetModel();
    m_vLignes.clear();
    m_vTextes.clear();
    std::unordered_map<std::string, uint32_t> numeros;
    // A day has a handful of different texts, however many events.
    const auto numero = [&](const std::string& szTexte) {
      const auto [it, bNouveau] = numeros.try_emplace(szTexte, static_cast<uint32_t>(m_vTextes.size()));
      if (bNouveau) m_vTextes.push_back(QString::fromStdString(szTexte));
      return it->second;
    };
    bool bCache = false;
    uint16_t wHeure = 0;
    uint16_t wMinute = 0;
    std::string szType;
    std::string szNom;
    for (size_t n = 0; g_Calendrier.m_Journee.GetEventInfo(n, &bCache, &wHeure, &wMinute, &szType, &szNom); ++n) {
      if (!bCache) m_vLignes.push_back({wHeure, wMinute, numero(szType), numero(szNom)});
    }
    endResetModel();
  }

  [[nodiscard]] int rowCount(const QModelIndex& parent) const override {
    return parent.isValid() ? 0 : static_cast<int>(m_vLignes.size());
  }
  [[nodiscard]] int columnCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : kNbColonnes; }

  [[nodiscard]] QVariant data(const QModelIndex& index, int iRole) const override {
    if (!index.isValid()) return {};
    const Ligne& ligne = m_vLignes[static_cast<size_t>(index.row())];
    switch (iRole) {
      case Qt::DisplayRole:
        if (index.column() == kHeure) return QString::asprintf("%02u:%02u", ligne.wHeure, ligne.wMinute);
        return m_vTextes[index.column() == kType ? ligne.dwType : ligne.dwNom];
      case Qt::ToolTipRole:
        return index.column() == kNom ? QVariant(m_vTextes[ligne.dwNom]) : QVariant();
      case Qt::TextAlignmentRole:
        return QVariant(Alignement(index.column()));
      case Qt::BackgroundRole:
        return kCouleurAfficheur;
      default:
        return {};
    }
  }
  [[nodiscard]] QVariant headerData(int nSection, Qt::Orientation eSens, int iRole) const override {
    if (eSens != Qt::Horizontal) return {};
    if (iRole == Qt::TextAlignmentRole) return QVariant(Alignement(nSection));
    if (iRole != Qt::DisplayRole) return {};
    return nSection == kHeure ? QStringLiteral("Heure") : nSection == kType ? QStringLiteral("Type") : QString();
  }

 private:
  struct Ligne {
    uint16_t wHeure;
    uint16_t wMinute;
    uint32_t dwType;
    uint32_t dwNom;
  };
  static Qt::Alignment Alignement(int nColonne) {
    return Qt::AlignVCenter | (nColonne == kHeure ? Qt::AlignLeft : Qt::AlignHCenter);
  }

  std::vector<Ligne> m_vLignes;
  std::vector<QString> m_vTextes;
};

class CListeDlg final : public QDialog {
 public:
  explicit CListeDlg(QWidget* pParent) : QDialog(pParent), m_pModele(new CPlanModel(this)), m_pListe(new QTableView) {
    setWindowTitle(QStringLiteral("Programmation du jour"));
    CreeListe();
    auto* pRegles = new CIconButton(QStringLiteral("rules"), kTailleBouton, this);
    pRegles->setAccessibleName(QStringLiteral("Règles des messages"));
    AddToolTip(pRegles, QStringLiteral("Règles des messages"));
    connect(pRegles, &QAbstractButton::clicked, this, &CListeDlg::EditeRegles);

    auto* pBas = new QHBoxLayout;
    pBas->addStretch();
    pBas->addWidget(pRegles);
    pBas->addStretch();
    auto* pFenetre = new QVBoxLayout(this);
    pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kEspace);
    pFenetre->setSpacing(kEspace);
    pFenetre->addWidget(m_pListe, 1);
    pFenetre->addLayout(pBas);
    resize(TailleSelonFonte(*this, kTailleListe));
    setTabOrder(m_pListe, pRegles);
    m_pListe->setFocus();
  }

  /// Reads the plan; the selected row and the first one in sight stay where they were.
  void Fill() {
    const int nChoisie = Choisie();
    const int nPremiere = m_pListe->verticalScrollBar()->value();
    m_pModele->Lit();
    const int nLignes = m_pModele->rowCount({});
    if (nChoisie >= 0 && nChoisie < nLignes) m_pListe->selectRow(nChoisie);
    m_pListe->scrollToTop();
    Amene(std::min(nPremiere + ParPage() - 1, nLignes - 1));
  }

  /// Selects the first listed event that has not finished, at mid-page where the list is long enough.
  void Highlight() {
    size_t nTermines = 0;
    if (!g_Calendrier.m_Journee.FindNext(false, nullptr, &nTermines)) return;
    const int nLigne = static_cast<int>(nTermines);
    const int nLignes = m_pModele->rowCount({});
    if (nLigne >= nLignes) return;  // the plan has changed; its new rows come with the end of the generation
    Amene(std::min(nLigne + ParPage() / 2, nLignes - 1));
    if (Choisie() != nLigne) m_pListe->selectRow(nLigne);
    Amene(nLigne);
  }

  void done(int nResultat) override;

 protected:
  void keyPressEvent(QKeyEvent* pEvent) override {
    if (pEvent->key() == Qt::Key_Return || pEvent->key() == Qt::Key_Enter) {
      close();
      return;
    }
    QDialog::keyPressEvent(pEvent);
  }
  void showEvent(QShowEvent* pEvent) override {
    QDialog::showEvent(pEvent);
    // Only now has a page its size.
    if (!pEvent->spontaneous()) Highlight();
  }

 private:
  void CreeListe() {
    m_pListe->setModel(m_pModele);
    m_pListe->setAccessibleName(QStringLiteral("Programmation du jour"));
    m_pListe->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_pListe->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pListe->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    m_pListe->setAutoScroll(false);  // the place is ours to keep
    m_pListe->setTabKeyNavigation(false);
    m_pListe->setTextElideMode(Qt::ElideMiddle);
    m_pListe->setWordWrap(false);
    m_pListe->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pListe->setCornerButtonEnabled(false);
    QPalette palette;
    palette.setColor(QPalette::Base, kCouleurFond);
    m_pListe->setPalette(palette);

    const QFontMetrics mesure(m_pListe->font());
    m_pListe->verticalHeader()->hide();
    m_pListe->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_pListe->verticalHeader()->setDefaultSectionSize(mesure.height() + kEspace);
    QHeaderView* pTitres = m_pListe->horizontalHeader();
    pTitres->setHighlightSections(false);
    pTitres->setSectionsClickable(false);
    pTitres->setMinimumSectionSize(0);
    const QString szLarges[kNbColonnes] = {QStringLiteral("Heure"), QStringLiteral("MESSAGE AUDIO"), QString()};
    for (int n = 0; n < kNbColonnes; ++n) {
      m_pListe->setColumnWidth(n, std::max(kLargeurs[n], mesure.horizontalAdvance(szLarges[n]) + 2 * kMarge));
    }
    pTitres->setSectionResizeMode(kNom, QHeaderView::Stretch);
  }

  /// -1 if none is. Not the current row: a list that has the focus always has one of these.
  [[nodiscard]] int Choisie() const {
    const QModelIndexList vChoisies = m_pListe->selectionModel()->selectedRows();
    return vChoisies.isEmpty() ? -1 : vChoisies.first().row();
  }
  /// Rows that are wholly in sight.
  [[nodiscard]] int ParPage() const {
    return std::max(1, m_pListe->viewport()->height() / m_pListe->verticalHeader()->defaultSectionSize());
  }
  /// Scrolls by no more than it takes to see the row.
  void Amene(int nLigne) {
    if (nLigne >= 0) m_pListe->scrollTo(m_pModele->index(nLigne, 0), QAbstractItemView::EnsureVisible);
  }
  void EditeRegles() {
    std::vector<Rule> vRules = g_Grille.Copie();
    if (EditRules(this, &vRules) == 0) return;
    g_Grille.Remplace(std::move(vRules));
    g_Grille.Save();
    // The new rows come when it has ended.
    g_Calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  }

  CPlanModel* m_pModele;
  QTableView* m_pListe;
};

QPointer<CListeDlg> g_hDlgListe;

void CListeDlg::done(int nResultat) {
  if (g_hDlgListe == this) g_hDlgListe.clear();
  QDialog::done(nResultat);
  deleteLater();
}

}  // namespace

CListeEvents g_ListeEvents;

bool CListeEvents::Open(QWidget* pParent) {
  if (!g_hDlgListe.isNull()) return false;
  g_hDlgListe = std::make_unique<CListeDlg>(pParent).release();  // its parent's, or gone when closed
  g_hDlgListe->Fill();
  g_hDlgListe->show();
  return true;
}

bool CListeEvents::Refresh() {
  if (g_hDlgListe.isNull()) return false;
  g_hDlgListe->Fill();
  g_hDlgListe->Highlight();
  return true;
}

bool CListeEvents::MoveHighlight() {
  if (g_hDlgListe.isNull()) return false;
  g_hDlgListe->Highlight();
  return true;
}

void CListeEvents::Close() {
  if (!g_hDlgListe.isNull()) g_hDlgListe->close();
}

}  // namespace tonara
