#include "ui/rulefields.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/look/champnombre.h"
#include "ui/look/groupe.h"
#include "ui/look/look.h"

namespace tonara {
namespace {

constexpr int kChiffresTemps = 2;
constexpr int kChiffresPeriode = 5;
enum Page : int { kPagePeriode, kPageFixe, kPageAucune };

QHBoxLayout* Ligne() {
  auto* pLigne = new QHBoxLayout;
  pLigne->setContentsMargins(0, 0, 0, 0);
  pLigne->setSpacing(kEspace);
  return pLigne;
}

QLabel* Texte(const char* szTexte) {
  return new QLabel(QString::fromUtf8(szTexte));
}

QComboBox* Liste(const QStringList& vEntrees, const QString& szNom) {
  auto* pListe = new QComboBox;
  pListe->addItems(vEntrees);
  pListe->setAccessibleName(szNom);
  return pListe;
}

/// What doesn't concern a rule keeps its place free, so that nothing moves from rule to rule.
void GardePlace(QWidget* pControle) {
  QSizePolicy place = pControle->sizePolicy();
  place.setRetainSizeWhenHidden(true);
  pControle->setSizePolicy(place);
}

/// The day of a date code; today for a code that no calendar has.
QDate Jour(uint32_t dwDate) {
  const QDate jour(static_cast<int>(dwDate / 10000), static_cast<int>(dwDate / 100 % 100),
                   static_cast<int>(dwDate % 100));
  return jour.isValid() ? jour : QDate::currentDate();
}

uint32_t Code(QDate jour) {
  return CodeDate(jour.year(), jour.month(), jour.day());
}

void MargesGroupe(CGroupe* pGroupe, QVBoxLayout** ppLignes) {
  *ppLignes = new QVBoxLayout(pGroupe);
  (*ppLignes)->setContentsMargins(kMarge, kEspace, kMarge, kMarge - 2);
  (*ppLignes)->setSpacing(kEspaceGroupe);
}

}  // namespace

CRuleFields::CRuleFields(QWidget* pParent) : QWidget(pParent) {
  auto* pColonne = new QVBoxLayout(this);
  pColonne->setContentsMargins(0, 0, 0, 0);
  pColonne->setSpacing(kEspaceGroupe);
  pColonne->addWidget(CreeRegle());
  pColonne->addWidget(CreeValidite());
  MontreAucune();
}

CGroupe* CRuleFields::CreeRegle() {
  auto* pGroupe = new CGroupe(QStringLiteral("Règle de diffusion"), this);
  QVBoxLayout* pLignes = nullptr;
  MargesGroupe(pGroupe, &pLignes);

  m_pMode = Liste({QStringLiteral("Toutes les"), QStringLiteral("A heure fixe")}, QStringLiteral("Mode de diffusion"));
  m_pTemps = new QStackedWidget;
  m_pTemps->insertWidget(kPagePeriode, CreePeriode());
  m_pTemps->insertWidget(kPageFixe, CreeFixe());
  m_pTemps->insertWidget(kPageAucune, new QWidget);
  auto* pLigneTemps = Ligne();
  pLigneTemps->addWidget(m_pMode);
  pLigneTemps->addWidget(m_pTemps);
  pLigneTemps->addStretch();
  pLignes->addLayout(pLigneTemps);

  auto* pLigneJours = Ligne();
  pLigneJours->setSpacing(kEspace + 4);
  constexpr std::array<const char*, kBitsJours.size()> kJours{"Lundi",    "Mardi",  "Mercredi", "Jeudi",
                                                              "Vendredi", "Samedi", "Dimanche"};
  for (size_t n = 0; n < kJours.size(); ++n) {
    m_jours[n] = new QCheckBox(QString::fromUtf8(kJours[n]));
    pLigneJours->addWidget(m_jours[n]);
    connect(m_jours[n], &QCheckBox::clicked, this, [this, dwBit = kBitsJours[n]](bool bOn) {
      m_rule.TimeDaysMask = bOn ? m_rule.TimeDaysMask | dwBit : m_rule.TimeDaysMask & ~dwBit;
      Annonce();
    });
  }
  pLigneJours->addStretch();

  m_pSelection = Liste({QStringLiteral("Un fichier au hasard")}, QStringLiteral("Choix du fichier"));
  GardePlace(m_pSelection);
  pLigneJours->addWidget(m_pSelection);
  pLignes->addLayout(pLigneJours);

  connect(m_pMode, &QComboBox::activated, this, [this](int iMode) {
    m_rule.TimeMode = iMode;
    MontreTemps();
    Annonce();
  });
  connect(m_pSelection, &QComboBox::activated, this, [this](int iMode) {
    m_rule.DirSelectMode = static_cast<uint8_t>(iMode);
    Annonce();
  });
  return pGroupe;
}

QWidget* CRuleFields::CreePeriode() {
  auto* pPage = new QWidget;
  auto* pLigne = Ligne();
  pPage->setLayout(pLigne);
  m_pFrequence = new CChampNombre(kChiffresPeriode, pPage);
  m_pFrequence->setAccessibleName(QStringLiteral("Période"));
  m_pUnite = Liste({QStringLiteral("minutes")}, QStringLiteral("Unité de la période"));
  pLigne->addWidget(m_pFrequence);
  pLigne->addWidget(m_pUnite);
  pLigne->addSpacing(kEspace);
  pLigne->addWidget(Texte("entre"));
  m_debut = AjouteTemps(pLigne, &Rule::TimeBegin, QStringLiteral("du début"));
  pLigne->addSpacing(kEspace);
  pLigne->addWidget(Texte("et"));
  m_fin = AjouteTemps(pLigne, &Rule::TimeEnd, QStringLiteral("de la fin"));
  pLigne->addStretch();
  connect(m_pFrequence, &QLineEdit::textChanged, this, [this](const QString& szTexte) {
    if (m_bRemplissage || szTexte.isEmpty()) return;
    m_rule.TimeFrequency = szTexte.toUInt();
    Annonce();
  });
  connect(m_pUnite, &QComboBox::activated, this, [this](int iUnite) {
    m_rule.TimeUnit = iUnite;
    Annonce();
  });
  return pPage;
}

QWidget* CRuleFields::CreeFixe() {
  auto* pPage = new QWidget;
  auto* pLigne = Ligne();
  pPage->setLayout(pLigne);
  m_fixe = AjouteTemps(pLigne, &Rule::TimeBegin, QStringLiteral("de diffusion"));
  pLigne->addStretch();
  return pPage;
}

CRuleFields::Temps CRuleFields::AjouteTemps(QHBoxLayout* pLigne, uint32_t Rule::*pTemps, const QString& szNom) {
  const Temps temps{new CChampNombre(kChiffresTemps, this), new CChampNombre(kChiffresTemps, this)};
  temps.pHeure->setAccessibleName(QStringLiteral("Heure ") + szNom);
  temps.pMinute->setAccessibleName(QStringLiteral("Minute ") + szNom);
  pLigne->addWidget(temps.pHeure);
  pLigne->addWidget(Texte("h"));
  pLigne->addWidget(temps.pMinute);
  pLigne->addWidget(Texte("mns"));
  const auto relie = [this, pTemps](CChampNombre* pChamp, uint32_t (*fnAvec)(uint32_t, uint32_t)) {
    connect(pChamp, &QLineEdit::textChanged, this, [this, pTemps, fnAvec](const QString& szTexte) {
      // An emptied field leaves the rule as it is: the next digit is on its way.
      if (m_bRemplissage || szTexte.isEmpty()) return;
      m_rule.*pTemps = fnAvec(m_rule.*pTemps, szTexte.toUInt());
      Annonce();
    });
  };
  relie(temps.pHeure, &AvecHeure);
  relie(temps.pMinute, &AvecMinute);
  return temps;
}

CGroupe* CRuleFields::CreeValidite() {
  auto* pGroupe = new CGroupe(QStringLiteral("Validité de la règle"), this);
  QVBoxLayout* pLignes = nullptr;
  MargesGroupe(pGroupe, &pLignes);

  m_pValidite = Liste({QStringLiteral("Permanente"), QStringLiteral("Plage de dates")}, QStringLiteral("Validité"));
  m_pDu = CreeDate(QStringLiteral("Premier jour"), &ChangeDateDebut);
  m_pAu = CreeDate(QStringLiteral("Dernier jour"), &ChangeDateFin);
  m_pDates = new QWidget;
  GardePlace(m_pDates);
  auto* pDates = Ligne();
  m_pDates->setLayout(pDates);
  pDates->addWidget(Texte("Du"));
  pDates->addWidget(m_pDu);
  pDates->addWidget(Texte("au"));
  pDates->addWidget(m_pAu);
  m_pActivee = new QCheckBox(QStringLiteral("Acti&vée"));
  auto* pLigne = Ligne();
  pLigne->addWidget(m_pValidite);
  pLigne->addWidget(m_pDates);
  pLigne->addStretch();
  pLigne->addWidget(m_pActivee);
  pLignes->addLayout(pLigne);

  connect(m_pValidite, &QComboBox::activated, this, [this](int iMode) {
    ChangeValidite(&m_rule, iMode, Code(QDate::currentDate()));
    MontreDates();
    Annonce();
  });
  connect(m_pActivee, &QCheckBox::clicked, this, [this](bool bOn) {
    m_rule.Enabled = bOn;
    Annonce();
  });
  return pGroupe;
}

QDateEdit* CRuleFields::CreeDate(const QString& szNom, void (*fnChange)(Rule*, uint32_t)) {
  const QLocale francais(QLocale::French, QLocale::France);
  auto* pDate = new QDateEdit;
  pDate->setAccessibleName(szNom);
  pDate->setLocale(francais);
  pDate->setCalendarPopup(true);
  HabilleCalendrier(pDate->calendarWidget());
  pDate->setDisplayFormat(QStringLiteral("dd/MM/yyyy"));
  // A date counts when it is typed to its end: the "2" of "28" must not drag the other date along.
  pDate->setKeyboardTracking(false);
  connect(pDate, &QDateEdit::dateChanged, this, [this, fnChange](QDate jour) {
    if (m_bRemplissage) return;
    fnChange(&m_rule, Code(jour));
    MontreDates();
    Annonce();
  });
  return pDate;
}

void CRuleFields::Montre(const Rule& rule) {
  m_rule = rule;
  setEnabled(true);
  Remplit();
}

void CRuleFields::MontreAucune() {
  m_rule = Rule();
  Remplit();
  setEnabled(false);
}

void CRuleFields::TermineSaisie() {
  m_pDu->interpretText();
  m_pAu->interpretText();
}

void CRuleFields::Remplit() {
  m_pMode->setCurrentIndex(m_rule.TimeMode == 0 || m_rule.TimeMode == 1 ? m_rule.TimeMode : -1);
  m_pUnite->setCurrentIndex(m_rule.TimeUnit == 0 ? 0 : -1);
  for (size_t n = 0; n < m_jours.size(); ++n) m_jours[n]->setChecked((m_rule.TimeDaysMask & kBitsJours[n]) != 0);
  m_pSelection->setCurrentIndex(m_rule.DirSelectMode == 0 ? 0 : -1);
  m_pSelection->setVisible(m_rule.Folder);
  // Any other mode is in force like the permanent one.
  m_pValidite->setCurrentIndex(m_rule.ValidityMode == 1 ? 1 : 0);
  m_pActivee->setChecked(m_rule.Enabled);
  MontreTemps();
  MontreDates();
}

void CRuleFields::MontreTemps() {
  m_bRemplissage = true;
  m_pFrequence->Montre(m_rule.TimeFrequency);
  const auto montre = [](const Temps& temps, uint32_t dwTemps) {
    temps.pHeure->Montre(dwTemps / 100, kChiffresTemps);
    temps.pMinute->Montre(dwTemps % 100, kChiffresTemps);
  };
  montre(m_debut, m_rule.TimeBegin);
  montre(m_fin, m_rule.TimeEnd);
  montre(m_fixe, m_rule.TimeBegin);
  m_bRemplissage = false;
  m_pTemps->setCurrentIndex(m_rule.TimeMode == 0 ? kPagePeriode : m_rule.TimeMode == 1 ? kPageFixe : kPageAucune);
  for (const Temps& temps : {m_debut, m_fin}) {
    temps.pHeure->SetAlerte(PeriodeInversee(m_rule));
    temps.pMinute->SetAlerte(PeriodeInversee(m_rule));
  }
}

void CRuleFields::MontreDates() {
  m_bRemplissage = true;
  m_pDu->setDate(Jour(m_rule.ValidityBegin));
  m_pAu->setDate(Jour(m_rule.ValidityEnd));
  m_bRemplissage = false;
  m_pDates->setVisible(m_rule.ValidityMode == 1);
}

void CRuleFields::Annonce() {
  for (const Temps& temps : {m_debut, m_fin}) {
    temps.pHeure->SetAlerte(PeriodeInversee(m_rule));
    temps.pMinute->SetAlerte(PeriodeInversee(m_rule));
  }
  emit Modifiee(m_rule);
}

}  // namespace tonara
