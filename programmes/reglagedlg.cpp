#include "programmes/reglagedlg.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPointer>
#include <QPushButton>
#include <utility>

#include "ui/look/look.h"
#include "ui/look/textbox.h"

namespace tonara {
namespace {

// A path of usual length, which the box has room for.
constexpr char kCheminUsuel[] = "/srv/magasin/Musiques/Ambiance du matin.mp3";

}  // namespace

CReglageDlg::CReglageDlg(const QString& szTitre, QWidget* pParent) : QDialog(pParent) {
  setWindowTitle(szTitre);
}

QPushButton* CReglageDlg::Bouton(const QString& szTexte, QWidget* pParent) {
  auto* pBouton = new QPushButton(szTexte, pParent);
  pBouton->setAutoDefault(false);
  return pBouton;
}

void CReglageDlg::keyPressEvent(QKeyEvent* pEvent) {
  if (pEvent->key() == Qt::Key_Return || pEvent->key() == Qt::Key_Enter) {
    if (auto* pBouton = qobject_cast<QPushButton*>(focusWidget())) pBouton->click();
    return;
  }
  QDialog::keyPressEvent(pEvent);
}

CChampChemin::CChampChemin(const QString& szNom, const QString& szBulle, std::string szPath,
                           std::function<bool(std::string*)> fnChoisir, QWidget* pParent)
    : QWidget(pParent),
      m_szPath(std::move(szPath)),
      m_fnChoisir(std::move(fnChoisir)),
      m_pTexte(new CTextBox(1, QString::fromUtf8(kCheminUsuel), CTextBox::Cadrage::Gauche, this)) {
  m_pTexte->setAccessibleName(szNom);
  m_pTexte->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  auto* pChoisir = new QPushButton(QStringLiteral("..."), this);
  pChoisir->setAutoDefault(false);
  pChoisir->setAccessibleName(szBulle);
  AddToolTip(pChoisir, szBulle);
  pChoisir->setFixedWidth(pChoisir->sizeHint().height() * 3 / 2);
  auto* pRangee = new QHBoxLayout(this);
  pRangee->setContentsMargins(0, 0, 0, 0);
  pRangee->setSpacing(kEspace);
  pRangee->addWidget(m_pTexte, 1);
  pRangee->addWidget(pChoisir);
  setFocusProxy(pChoisir);
  connect(pChoisir, &QPushButton::clicked, this, &CChampChemin::Choisit);
  Montre();
}

void CChampChemin::Choisit() {
  const QPointer<CChampChemin> pMoi(this);
  const auto fnChoisir = m_fnChoisir;  // a copy, for the same reason
  std::string szPath;
  if (!fnChoisir(&szPath) || pMoi.isNull()) return;
  m_szPath = std::move(szPath);
  Montre();
}

void CChampChemin::Montre() {
  m_pTexte->SetTexte(QString::fromStdString(m_szPath));
}

}  // namespace tonara
