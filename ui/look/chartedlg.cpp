#include "ui/look/chartedlg.h"

#include <QColorDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/look/champnombre.h"
#include "ui/look/look.h"
#include "ui/look/shareddialogs.h"

namespace tonara {
namespace {

constexpr int kHauteurApercu = 50;  // of the letters, logical pixels
constexpr QSize kTailleApercu{300, 96};
constexpr int kLargeurFontes = 220;

QColor Couleur(uint32_t cr) {
  return {static_cast<int>(cr & 0xFFU), static_cast<int>(cr >> 8 & 0xFFU), static_cast<int>(cr >> 16 & 0xFFU)};
}

/// Where several foundries have a font of one name the toolkit adds theirs in brackets. The name alone is what
/// settings hold, and what other machines know.
QString SansFonderie(const QString& szFamille) {
  return szFamille.section(QStringLiteral(" ["), 0, 0);
}

uint32_t Code(const QColor& couleur) {
  return static_cast<uint32_t>(couleur.red() | couleur.green() << 8 | couleur.blue() << 16);
}

}  // namespace

CCharteDlg::CCharteDlg(const Charte& charte, QWidget* pParent)
    : QDialog(pParent), m_charte(charte), m_pFontes(new QListWidget(this)), m_pApercu(new QLabel(this)) {
  setWindowTitle(QStringLiteral("Charte Texte"));
  m_pFontes->setAccessibleName(QStringLiteral("Police"));
  m_pFontes->setUniformItemSizes(true);
  m_pFontes->setMinimumWidth(TailleSelonFonte(*this, {kLargeurFontes, 0}).width());
  QStringList vFontes;
  for (const QString& szFonte : QFontDatabase::families()) {
    if (!szFonte.startsWith(QLatin1Char('@'))) vFontes += SansFonderie(szFonte);
  }
  vFontes.removeDuplicates();
  m_pFontes->addItems(vFontes);
  m_pFontes->sortItems();
  m_pFontes->setSpacing(1);
  m_pApercu->setFixedSize(kTailleApercu);
  m_pApercu->setAccessibleName(QStringLiteral("Aperçu"));

  auto* pTexte = new QPushButton(QStringLiteral("Couleur &texte"), this);
  auto* pFond = new QPushButton(QStringLiteral("Couleur &fond"), this);
  auto* pOpacite = new QLabel(QStringLiteral("&Opacité fond"), this);
  m_pOpacite = new CChampNombre(3, this);
  m_pOpacite->setMaxLength(9);
  m_pOpacite->setText(QString::number(charte.m_iPctAlpha));
  m_pOpacite->setAccessibleName(QStringLiteral("Opacité fond"));
  pOpacite->setBuddy(m_pOpacite);
  auto* pAppliquer = new QPushButton(QStringLiteral("&Appliquer"), this);
  pAppliquer->setDefault(true);
  for (QPushButton* pBouton : {pTexte, pFond}) pBouton->setAutoDefault(false);

  auto* pCouleurs = new QHBoxLayout;
  pCouleurs->setSpacing(kEspace);
  pCouleurs->addWidget(pTexte);
  pCouleurs->addWidget(pFond);
  auto* pLigne = new QHBoxLayout;
  pLigne->setSpacing(kEspace);
  pLigne->addWidget(pOpacite);
  pLigne->addWidget(m_pOpacite);
  pLigne->addWidget(new QLabel(QStringLiteral("%"), this));
  pLigne->addStretch();
  auto* pBas = new QHBoxLayout;
  pBas->addStretch();
  pBas->addWidget(pAppliquer);
  auto* pDroite = new QVBoxLayout;
  pDroite->setSpacing(kEspaceGroupe);
  pDroite->addWidget(m_pApercu);
  pDroite->addLayout(pCouleurs);
  pDroite->addLayout(pLigne);
  pDroite->addStretch();
  pDroite->addLayout(pBas);
  auto* pFenetre = new QHBoxLayout(this);
  pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pFenetre->setSpacing(kMarge);
  pFenetre->addWidget(m_pFontes);
  pFenetre->addLayout(pDroite);

  // A font that this system doesn't have stays in the charte until the operator picks another.
  const QList<QListWidgetItem*> vTrouvees =
      m_pFontes->findItems(SansFonderie(QString::fromStdString(charte.m_szFont)), Qt::MatchFixedString);
  m_pFontes->setCurrentItem(vTrouvees.isEmpty() ? m_pFontes->item(0) : vTrouvees.first());
  const auto choisit = [this](const QString& szFonte) {
    m_charte.m_szFont = szFonte.toStdString();
    DessineApercu();
  };
  connect(m_pFontes, &QListWidget::currentTextChanged, this, choisit);
  // The first one is selected also where it stands in for a font that is absent, and can be picked all the same.
  connect(m_pFontes, &QListWidget::itemClicked, this, [choisit](const QListWidgetItem* p) { choisit(p->text()); });
  connect(pTexte, &QPushButton::clicked, this,
          [this] { ChoisitCouleur(&m_charte.m_crTexte, QStringLiteral("Couleur texte")); });
  connect(pFond, &QPushButton::clicked, this,
          [this] { ChoisitCouleur(&m_charte.m_crFond, QStringLiteral("Couleur fond")); });
  connect(m_pOpacite, &QLineEdit::textChanged, this, [this](const QString& szTexte) {
    if (!szTexte.isEmpty()) m_charte.m_iPctAlpha = szTexte.toInt();
  });
  connect(pAppliquer, &QPushButton::clicked, this, &QDialog::accept);
  m_pFontes->setFocus();
  DessineApercu();
}

void CCharteDlg::ChoisitCouleur(uint32_t* pcrCouleur, const QString& szTitre) {
  const QPointer<CCharteDlg> pMoi(this);
  const CDialogueTemp dialogue(std::make_unique<QColorDialog>(Couleur(*pcrCouleur), this));
  dialogue->setOption(QColorDialog::DontUseNativeDialog);
  dialogue->setWindowTitle(szTitre);
  const int nResultat = dialogue->exec();
  if (pMoi.isNull() || !dialogue || nResultat != QDialog::Accepted) return;
  *pcrCouleur = Code(dialogue->selectedColor());
  DessineApercu();
}

void CCharteDlg::DessineApercu() {
  const qreal fRatio = devicePixelRatioF();
  QPixmap image((QSizeF(kTailleApercu) * fRatio).toSize());
  image.setDevicePixelRatio(fRatio);
  image.fill(Couleur(m_charte.m_crFond));
  QPainter peintre(&image);
  QFont fonte(QString::fromStdString(m_charte.m_szFont));
  fonte.setPixelSize(kHauteurApercu);
  fonte.setWeight(QFont::Normal);
  peintre.setFont(fonte);
  peintre.setPen(Couleur(m_charte.m_crTexte));
  peintre.drawText(QRect({0, 0}, kTailleApercu), Qt::AlignCenter, QStringLiteral("tonara"));
  peintre.end();
  m_pApercu->setPixmap(image);
}

bool ChoisirCharte(QWidget* pParent, Charte* pCharte) {
  const CDialogueTemp dialogue(std::make_unique<CCharteDlg>(*pCharte, pParent));
  const int nResultat = dialogue->exec();
  if (!dialogue || nResultat != QDialog::Accepted) return false;
  *pCharte = dialogue->Resultat();
  return true;
}

}  // namespace tonara
