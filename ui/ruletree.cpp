#include "ui/ruletree.h"

#include <QHeaderView>

#include "ui/look/look.h"

namespace tonara {
namespace {

constexpr int kAutourLigne = 6;
constexpr int kSondesALaFois = 4;  // so that one dead drive doesn't hold up the files of another
constexpr int kRoleRegle = Qt::UserRole;

constexpr std::array<const char*, kNbImagesRegle> kNomsImages{"line-file",    "line-folder",  "line-audio",
                                                              "line-video",   "line-image",   "line-other",
                                                              "line-missing", "line-disabled"};

int RegleDe(const QTreeWidgetItem* pLigne) {
  return pLigne != nullptr && pLigne->parent() != nullptr ? pLigne->data(0, kRoleRegle).toInt() : -1;
}

}  // namespace

CRuleTree::CRuleTree(const std::vector<Rule>& vRules, std::function<bool(const std::string&)> fnAccessible,
                     QWidget* pParent)
    : QTreeWidget(pParent), m_vRules(vRules), m_fnAccessible(std::move(fnAccessible)), m_sondes(kSondesALaFois) {
  for (size_t n = 0; n < m_images.size(); ++n) m_images[n] = IconeLigne(kNomsImages[n], *this);
  setAccessibleName(QStringLiteral("Règles"));
  setHeaderHidden(true);
  setColumnCount(1);
  setIconSize({kCoteLigne, kCoteLigne});
  setUniformRowHeights(true);
  setTextElideMode(Qt::ElideMiddle);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  // All rules are always in sight: there is nothing to fold.
  setRootIsDecorated(false);
  setItemsExpandable(false);
  connect(this, &QTreeWidget::currentItemChanged, this, &CRuleTree::Change);
}

bool CRuleTree::Accessible(const std::string& szPath) const {
  const auto it = m_acces.find(szPath);
  return it == m_acces.end() || it->second;
}

void CRuleTree::Remplit() {
  setUpdatesEnabled(false);
  m_bTreeReset = true;
  clear();
  m_vLignes.assign(m_vRules.size(), nullptr);
  m_fichiers.clear();
  m_sondes.OublieAttente();
  m_nCourante = -1;

  QList<QTreeWidgetItem*> vFichiers;
  for (size_t n = 0; n < m_vRules.size(); ++n) {
    const Rule& rule = m_vRules[n];
    const auto [it, bNouveau] = m_fichiers.try_emplace(rule.Path);
    Fichier& fichier = it->second;
    if (bNouveau) {
      fichier.pLigne = new QTreeWidgetItem;
      // One height for all: the first line's.
      fichier.pLigne->setSizeHint(0, {0, fontMetrics().height() + kAutourLigne});
      fichier.bDossier = rule.Folder;
      vFichiers += fichier.pLigne;
      DessineFichier(rule.Path, fichier);
      m_sondes.Demande([this, szPath = rule.Path, fnAccessible = m_fnAccessible]() -> CArrierePlan::Suite {
        const bool bAccessible = fnAccessible(szPath);
        return [this, szPath, bAccessible] { Reponse(szPath, bAccessible); };
      });
    }
    fichier.vRegles.push_back(static_cast<int>(n));
    m_vLignes[n] = new QTreeWidgetItem(fichier.pLigne);
    m_vLignes[n]->setData(0, kRoleRegle, static_cast<int>(n));
    Actualise(static_cast<int>(n));
  }
  addTopLevelItems(vFichiers);
  expandAll();
  setCurrentItem(nullptr);
  m_bTreeReset = false;
  setUpdatesEnabled(true);
  emit RegleChoisie(-1);
}

void CRuleTree::Selectionne(int nRegle) {
  if (nRegle < 0 || nRegle >= static_cast<int>(m_vLignes.size())) return;
  QTreeWidgetItem* pLigne = m_vLignes[static_cast<size_t>(nRegle)];
  setCurrentItem(pLigne);
  // With its file's name, where both fit.
  scrollToItem(pLigne->parent());
  scrollToItem(pLigne);
}

void CRuleTree::Actualise(int nRegle) {
  const Rule& rule = m_vRules[static_cast<size_t>(nRegle)];
  QTreeWidgetItem* pLigne = m_vLignes[static_cast<size_t>(nRegle)];
  pLigne->setText(0, QString::fromStdString(TexteRegle(rule)));
  pLigne->setIcon(0, m_images[static_cast<size_t>(EtatRegle(rule, Accessible(rule.Path)))]);
}

void CRuleTree::Change(QTreeWidgetItem* pLigne) {
  if (m_bTreeReset || pLigne == nullptr) return;
  if (pLigne->parent() == nullptr) {
    // Later: the click that selects this line has not ended.
    QMetaObject::invokeMethod(
        this,
        [this] {
          const QTreeWidgetItem* pFichier = currentItem();
          if (pFichier != nullptr && pFichier->parent() == nullptr) setCurrentItem(pFichier->child(0));
        },
        Qt::QueuedConnection);
    return;
  }
  m_nCourante = RegleDe(pLigne);
  emit RegleChoisie(m_nCourante);
}

QModelIndex CRuleTree::moveCursor(CursorAction eAction, Qt::KeyboardModifiers eTouches) {
  const QModelIndex index = QTreeWidget::moveCursor(eAction, eTouches);
  if (!index.isValid() || index.parent().isValid()) return index;
  const bool bVersHaut = eAction == MoveUp || eAction == MovePageUp || eAction == MovePrevious;
  if (!bVersHaut) return model()->index(0, 0, index);
  const QModelIndex precedent = index.siblingAtRow(index.row() - 1);
  if (eAction == MovePageUp || !precedent.isValid()) {
    if (!precedent.isValid()) scrollTo(index);
    return model()->index(0, 0, index);
  }
  return model()->index(model()->rowCount(precedent) - 1, 0, precedent);
}

void CRuleTree::DessineFichier(const std::string& szPath, const Fichier& fichier) {
  const QString szTexte = QString::fromStdString(TexteFichier(szPath, Accessible(szPath)));
  fichier.pLigne->setText(0, szTexte);
  fichier.pLigne->setToolTip(0, szTexte);
  fichier.pLigne->setIcon(0, m_images[fichier.bDossier ? kImageDossier : kImageFichier]);
}

void CRuleTree::Reponse(const std::string& szPath, bool bAccessible) {
  m_acces.insert_or_assign(szPath, bAccessible);
  const auto itFichier = m_fichiers.find(szPath);
  if (itFichier == m_fichiers.end()) return;
  DessineFichier(szPath, itFichier->second);
  for (const int nRegle : itFichier->second.vRegles) Actualise(nRegle);
}

}  // namespace tonara
