#include "ui/niveauxdlg.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>
#include <initializer_list>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "ui/look/groupe.h"
#include "ui/look/look.h"
#include "ui/mixergui.h"

namespace tonara {
namespace {

constexpr int kHauteurSlider = 170;
constexpr int kLargeurColonne = 84;
constexpr char kGroupe[] = "MUSIQUE";

CPartage<float>& Reglage(int nIndex) {
  switch (nIndex) {
    case CMixerGUI::kMessageAudio:
      return g_Appcfg.MessageAudio;
    case CMixerGUI::kMessageVideo:
      return g_Appcfg.MessageVideo;
    case CMixerGUI::kMusique:
      return g_Appcfg.Music;
    default:
      return g_Appcfg.AutoFade;
  }
}

}  // namespace

CNiveauxDlg::CNiveauxDlg(QWidget* pParent, CMixout& mixout) : QDialog(pParent), m_mixout(mixout) {
  setWindowTitle(QStringLiteral("Réglage des niveaux audio"));
  setAttribute(Qt::WA_DeleteOnClose);

  auto* pMessages = new CGroupe(QStringLiteral("Messages"), this);
  auto* pFond = new CGroupe(QStringLiteral("Fond sonore"), this);
  // One after the other: the tab order is the order in which the sliders are made.
  const auto remplit = [this](CGroupe* pGroupe, int nPremier, const char* szIcone1, const QString& szNom1,
                              const char* szIcone2, const QString& szNom2) {
    auto* pColonnes = new QHBoxLayout(pGroupe);
    pColonnes->setContentsMargins(kMarge, kEspace, kMarge, kMarge);
    pColonnes->addLayout(Colonne(nPremier, QLatin1String(szIcone1), szNom1, pGroupe));
    pColonnes->addLayout(Colonne(nPremier + 1, QLatin1String(szIcone2), szNom2, pGroupe));
  };
  remplit(pMessages, CMixerGUI::kMessageAudio, "line-audio", QStringLiteral("Messages audio"), "line-video",
          QStringLiteral("Messages vidéo"));
  remplit(pFond, CMixerGUI::kMusique, "music", QStringLiteral("Musique"), "autofade",
          QStringLiteral("Musique pendant les messages"));
  // The level of audio messages is shown, not set, here.
  const Niveau& audio = m_niveaux[CMixerGUI::kMessageAudio];
  for (QWidget* pControle : std::initializer_list<QWidget*>{audio.pIcone, audio.pSlider}) {
    pControle->setEnabled(false);
    AddToolTip(pControle, QStringLiteral("Messages audio : niveau fixé dans le fichier de réglages"));
  }

  auto* pGroupes = new QHBoxLayout(this);
  pGroupes->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pGroupes->setSpacing(kEspaceGroupe);
  pGroupes->addWidget(pMessages);
  pGroupes->addWidget(pFond);
  pGroupes->setSizeConstraint(QLayout::SetFixedSize);

  for (int i = 0; i < static_cast<int>(m_niveaux.size()); ++i) {
    SetValeur(i, static_cast<int>(static_cast<float>(Reglage(i))));
    connect(m_niveaux[static_cast<size_t>(i)].pSlider, &QSlider::valueChanged, this, [this, i] { Applique(i); });
  }
  m_niveaux[CMixerGUI::kMusique].pSlider->setFocus();
}

QVBoxLayout* CNiveauxDlg::Colonne(int nIndex, const QString& szIcone, const QString& szNom, QWidget* pParent) {
  Niveau& niveau = m_niveaux[static_cast<size_t>(nIndex)];
  auto* pIcone = new QLabel(pParent);
  niveau.pIcone = pIcone;
  pIcone->setPixmap(DessineIcone(szIcone, TailleSelonFonte(*this, {28, 28}), devicePixelRatioF()));
  pIcone->setAlignment(Qt::AlignHCenter);
  AddToolTip(pIcone, szNom);
  niveau.pSlider = new QSlider(Qt::Vertical, pParent);
  niveau.pSlider->setRange(CMixerGUI::kNiveauMin, 0);
  niveau.pSlider->setPageStep(6);
  niveau.pSlider->setTickPosition(QSlider::TicksBothSides);
  niveau.pSlider->setTickInterval(6);
  const QSize taille = TailleSelonFonte(*this, {kLargeurColonne, kHauteurSlider});
  niveau.pSlider->setMinimumHeight(taille.height());
  niveau.pSlider->setAccessibleName(szNom);
  AddToolTip(niveau.pSlider, szNom);
  niveau.pTexte = new QLabel(QStringLiteral("0 dB"), pParent);
  niveau.pTexte->setAlignment(Qt::AlignHCenter);
  niveau.pTexte->setMinimumWidth(taille.width());

  auto* pColonne = new QVBoxLayout;
  pColonne->setSpacing(kEspace);
  pColonne->addWidget(pIcone);
  pColonne->addWidget(niveau.pSlider, 1, Qt::AlignHCenter);
  pColonne->addWidget(niveau.pTexte);
  return pColonne;
}

int CNiveauxDlg::GetValeur(int nIndex) const {
  return m_niveaux[static_cast<size_t>(nIndex)].pSlider->value();
}

void CNiveauxDlg::SetValeur(int nIndex, int nDb) {
  // The slider's own signal applies the level when it moves; it must be in force also when it doesn't.
  const QSignalBlocker muet(m_niveaux[static_cast<size_t>(nIndex)].pSlider);
  m_niveaux[static_cast<size_t>(nIndex)].pSlider->setValue(nDb);
  Applique(nIndex);
}

void CNiveauxDlg::Applique(int nIndex) {
  const int nDb = GetValeur(nIndex);
  const auto fDb = static_cast<float>(nDb);
  m_niveaux[static_cast<size_t>(nIndex)].pTexte->setText(QString::asprintf("%d dB", nDb));
  Reglage(nIndex) = fDb;
  if (nIndex == CMixerGUI::kMusique) m_mixout.SetLevelGroupe(kGroupe, fDb);
  if (nIndex == CMixerGUI::kAutofade) m_mixout.SetAutofadeGroupe(kGroupe, fDb);
}

void CNiveauxDlg::reject() {
  g_Appcfg.Save();
  QDialog::reject();
}

}  // namespace tonara
