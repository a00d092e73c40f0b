#include "schedule/event.h"

#include <new>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"
#include "platform/disque.h"
#include "platform/paths.h"
#include "platform/profile.h"
#include "platform/textcodec.h"
#include "video/ecran.h"

namespace tonara {

bool g_bAutofadeActif = false;

namespace {

constexpr size_t kTailleNom = 127;
/// At or below this level, in dB, a film is silent.
constexpr float kSeuilFilmMuet = -60.0F;
constexpr const char* kGroupeMusique = "MUSIQUE";
constexpr const char* kGroupeMessage = "MESSAGE";

void RetourAutofade(EventContext& context, uint32_t dwFadeUp) {
  Trace(1, "Retour Autofade\n");
  context.pMixout->SetEtatGroupe(kGroupeMusique, 0);
  context.pMixout->FadeAll(dwFadeUp, 0.0F, 0);
  g_bAutofadeActif = false;
}

/// What the class of an event fixes.
struct Genre {
  int nType;
  const char* szTypeName;
  const char* szHistorique;
  const char* szCle;
  bool bCache;
  bool bAutofade;
  uint32_t dwFadeDown;
  uint32_t dwFadeUp;
  CTexte Nom;
};

const Genre& GenreDe(int nType) {
  static const Genre s_genres[] = {
      {kEventMsgAudio, "MESSAGE AUDIO", "%s (Message audio)\n", "PathDecro", false, true, 1000, 2000,
       CTexte("MESSAGE AUDIO")},
      {kEventMsgVideo, "MESSAGE VIDEO", "%s (Message vidéo)\n", "PathDecro", false, true, 1000, 2000,
       CTexte("MESSAGE VIDEO")},
      {kEventMsgImage, "MESSAGE IMAGE", "%s (Message image)\n", "PathDecro", false, false, 0, 2000,
       CTexte("MESSAGE IMAGE")},
      {kEventVirgule, "VIRGULE", "%s (Virgule audio)\n", "PathVirgule", true, true, 1000, 0, CTexte("VIRGULE")},
      {kEventJingle, "JINGLE", "%s (Jingle)\n", "PathJingle", false, true, 200, 500, CTexte("JINGLE")},
  };
  for (const Genre& genre : s_genres) {
    if (genre.nType == nType) return genre;
  }
  return s_genres[0];
}

/// What all the kinds share; they differ in how they play (Joue) and know their end (IsFini).
class CEventBase : public CEvent {
 public:
  CEventBase(int nType, EventContext& context) : m_context(context) {
    const Genre& genre = GenreDe(nType);
    m_nType = nType;
    m_szNom = genre.Nom;
    m_bCache = genre.bCache;
    m_bAutofade = genre.bAutofade;
    m_dwFadeDown = genre.dwFadeDown;
    m_dwFadeUp = genre.dwFadeUp;
  }

  bool IsSpecial() override { return false; }

  bool SetPath(const char* szPath) override {
    if (szPath == nullptr) return false;
    SetFichier(CFichierPrevu(szPath));
    return true;
  }

  bool GetTypeName(std::string* pOut) override {
    if (pOut != nullptr) *pOut = GenreDe(m_nType).szTypeName;
    return true;
  }

  bool GetFileName(std::string* pOut) override {
    if (pOut == nullptr) return false;
    if (m_szPath.empty()) {
      *pOut = "A définir";
    } else {
      *pOut = TitleOf(m_szPath.str());
    }
    return true;
  }

  bool Save(const char* szSection, const char* szFichier) override {
    WriteProfileString(szFichier, szSection, GenreDe(m_nType).szCle, m_szPath.str());
    return true;
  }

  bool Load(const char* szSection, const char* szFichier) override {
    SetFichier(CFichierPrevu(ReadProfileString(szFichier, szSection, GenreDe(m_nType).szCle, "")));
    return true;
  }

  bool Start(bool bFin) override {
    if (m_bDemarre) return true;
    AvantSequence();
    BeginBroadcast(bFin);
    Joue();
    m_bDemarre = true;
    return true;
  }

  bool CheckEnd() override {
    if (m_bTermine) return true;
    if (!IsFini()) return false;
    m_bTermine = true;
    EndBroadcast();
    return true;
  }

 protected:
  virtual void AvantSequence() {}
  virtual void Joue() = 0;
  virtual bool IsFini() = 0;

  void Historique() {
    // The formats are those of the table above, each with one %s.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    m_context.pHistorique->Add(GenreDe(m_nType).szHistorique, m_szPath.c_str());
#pragma GCC diagnostic pop
  }

  EventContext& m_context;

 private:
  void BeginBroadcast(bool bFin) {
    bFinASAEOF = bFin;
    if (g_bAutofadeActif && !m_bAutofade) RetourAutofade(m_context, m_dwFadeUp);
    if (m_bAutofade && !g_bAutofadeActif) {
      const float fAutofade = m_context.pCfg->AutoFade;
      Trace(1, "Déclenche Autofade (à %.1f dB)\n", static_cast<double>(fAutofade));
      // The group first: a music track that starts in between begins at the faded level.
      m_context.pMixout->SetEtatGroupe(kGroupeMusique, 1);
      m_context.pMixout->FadeAll(m_dwFadeDown, fAutofade, 1);
      g_bAutofadeActif = true;
    }
    const CEcranPris ecran;
    if (ecran && !m_context.pCfg->EnableSyntheOnMessage) {
      CBande& bande = ecran->Synthe();
      if (bande.IsEnable()) {
        bande.Show(false);
        bande.m_bSuspendu = true;
      }
    }
  }

  void EndBroadcast() {
    if (bFinASAEOF) RendreProgramme(m_context, m_dwFadeUp);
  }
};

/// Audio message, sting and jingle: a tranche of the mixer in the group of the messages.
class CEventAudio : public CEventBase {
 public:
  using CEventBase::CEventBase;

 protected:
  void Joue() override {
    Historique();
    // On a dead network drive the opening would never return, and no message would be fired any more.
    if (!CQuestionDisque(m_szPath).Attend(CQuestionDisque::kMorteMs)) {
      Trace(1, "Le disque ne répond pas : %s\n", m_szPath.c_str());
      return;
    }
    m_nTranche = m_context.pMixout->PlayFichier(m_szPath, kPlayMixe, 0, 0, 0, 0, m_context.pCfg->MessageAudio, false, 0,
                                                0, kGroupeMessage, &m_dwLecture);
  }

  bool IsFini() override {
    if (m_nTranche == 0) return true;
    uint32_t dwEcoule = 0;
    uint32_t dwReste = 0;
    if (m_context.pMixout->GetPosTranche(m_nTranche, &dwEcoule, &dwReste, m_dwLecture) && dwReste != 0) return false;
    m_context.pMixout->StopTranche(m_nTranche, m_dwLecture);
    m_nTranche = 0;
    return true;
  }

 private:
  // If the mixer is restarted under a message, the music may be given its tranche before the next tick.
  uint32_t m_dwLecture = 0;
};

class CEventMsgAudio final : public CEventAudio {
 public:
  explicit CEventMsgAudio(EventContext& context) : CEventAudio(kEventMsgAudio, context) {}
};

class CEventVirgule final : public CEventAudio {
 public:
  explicit CEventVirgule(EventContext& context) : CEventAudio(kEventVirgule, context) {}
};

class CEventJingle final : public CEventAudio {
 public:
  explicit CEventJingle(EventContext& context) : CEventAudio(kEventJingle, context) {}
};

class CEventMsgImage final : public CEventBase {
 public:
  explicit CEventMsgImage(EventContext& context) : CEventBase(kEventMsgImage, context) {}

 protected:
  void Joue() override {
    const CEcranPris ecran;
    if (!ecran) return;
    ecran->SuspendProgram(true);
    Historique();
    // An image that can't be drawn still takes its time on the screen: the screen counts it.
    ecran->PlayImage(m_szPath, m_context.pCfg->DureeMsgImage);
  }

  bool IsFini() override {
    const CEcranPris ecran;
    return !ecran || ecran->IsImageDone();
  }
};

class CEventMsgVideo final : public CEventBase {
 public:
  explicit CEventMsgVideo(EventContext& context) : CEventBase(kEventMsgVideo, context) {}

 protected:
  void AvantSequence() override {
    // A silent film leaves the music alone.
    if (m_context.pCfg->MessageVideo <= kSeuilFilmMuet) m_bAutofade = false;
  }

  void Joue() override {
    const CEcranPris ecran;
    if (!ecran) return;
    ecran->SuspendProgram(true);
    Historique();
    m_bEchec = !ecran->PlayVideo(m_szPath, m_context.pCfg->MessageVideo);
    if (m_bEchec) Trace(1, "Message vidéo illisible : %s\n", m_szPath.c_str());
  }

  bool IsFini() override {
    // A film that did not open never says that it is done.
    if (m_bEchec) return true;
    const CEcranPris ecran;
    return !ecran || ecran->IsVideoDone();
  }

 private:
  bool m_bEchec = false;
};

}  // namespace

const std::string& CTexte::Vide() {
  static const std::string s_szVide;
  return s_szVide;
}

CFichierPrevu::CFichierPrevu(const std::string& szPath) : Path(szPath), Titre(CutUtf8(TitleOf(szPath), kTailleNom)) {}

void CEvent::SetFichier(const CFichierPrevu& fichier) {
  m_szPath = fichier.Path;
  if (m_nType != kEventJingle) m_szNom = fichier.Titre;
}

void RendreProgramme(EventContext& context, uint32_t dwFadeUp) {
  {
    const CEcranPris ecran;
    if (ecran) {
      ecran->SuspendProgram(false);
      CBande& bande = ecran->Synthe();
      if (bande.IsEnable() && bande.m_bSuspendu) {
        bande.Show(true);
        bande.m_bSuspendu = false;
      }
    }
  }
  if (g_bAutofadeActif) RetourAutofade(context, dwFadeUp);
}

EventContext& GlobalEventContext() {
  static EventContext s_context{&g_Appcfg, &g_Mixout, &g_Historique};
  return s_context;
}

std::unique_ptr<CEvent> CreeEvent(int nType, EventContext& context) {
  try {
    switch (nType) {
      case kEventMsgAudio:
        return std::make_unique<CEventMsgAudio>(context);
      case kEventMsgVideo:
        return std::make_unique<CEventMsgVideo>(context);
      case kEventMsgImage:
        return std::make_unique<CEventMsgImage>(context);
      case kEventJingle:
        return std::make_unique<CEventJingle>(context);
      case kEventVirgule:
        return std::make_unique<CEventVirgule>(context);
      default:
        return nullptr;
    }
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace tonara
