// printday DIR [YYYY-MM-DD] [--video]: prints the plan that a start directory gives for a day (today without
// one), as the program would work it out at midnight. Writes nothing.
#include <cstdio>
#include <cstring>
#include <string>

#include "core/appcfg.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/profile.h"
#include "schedule/grille.h"
#include "schedule/journee.h"
#include "video/ecran.h"

namespace {

using namespace tonara;

/// A screen that could show anything, so that films and images stand in the plan.
class CEcranPret final : public CEcran {
 public:
  CBande& Synthe() override { return m_bande; }
  void SuspendProgram(bool /*bSuspend*/) override {}
  bool PlayImage(const std::string& /*szPath*/, uint32_t /*dwMs*/) override { return false; }
  bool IsImageDone() override { return true; }
  bool PlayVideo(const std::string& /*szPath*/, float /*fDb*/) override { return false; }
  bool IsVideoDone() override { return true; }
  bool HasDirect3D() override { return true; }

 private:
  class CSansBande final : public CBande {
    bool IsEnable() override { return false; }
    void Show(bool /*bVisible*/) override {}
  };
  CSansBande m_bande;
};

/// Day of the week of a date of the Gregorian calendar, 0 being Sunday (Sakamoto's method).
uint16_t JourSemaine(int nAnnee, int nMois, int nJour) {
  constexpr int kDecalage[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  if (nMois < 3) --nAnnee;
  return static_cast<uint16_t>((nAnnee + nAnnee / 4 - nAnnee / 100 + nAnnee / 400 + kDecalage[nMois - 1] + nJour) % 7);
}

int Usage() {
  std::fprintf(stderr, "usage: printday DIR [YYYY-MM-DD] [--video]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string dir;
  CCivilTime date = SystemClock().LocalTime();
  bool bVideo = false;
  for (int n = 1; n < argc; ++n) {
    unsigned nAnnee = 0;
    unsigned nMois = 0;
    unsigned nJour = 0;
    char cReste = 0;
    if (std::strcmp(argv[n], "--video") == 0) {
      bVideo = true;
    } else if (dir.empty()) {
      dir = argv[n];
    } else if (std::sscanf(argv[n], "%4u-%2u-%2u%c", &nAnnee, &nMois, &nJour, &cReste) == 3 && nMois >= 1 &&
               nMois <= 12 && nJour >= 1 && nJour <= 31) {
      date.wYear = static_cast<uint16_t>(nAnnee);
      date.wMonth = static_cast<uint16_t>(nMois);
      date.wDay = static_cast<uint16_t>(nJour);
      date.wDayOfWeek = JourSemaine(static_cast<int>(nAnnee), static_cast<int>(nMois), static_cast<int>(nJour));
    } else {
      return Usage();
    }
  }
  if (dir.empty()) return Usage();
  if (!dir.ends_with('/')) dir += '/';
  if (!PathExists(dir + "Regles.ini")) {  // loading would write the demonstration rules
    std::fprintf(stderr, "%sRegles.ini: not there\n", dir.c_str());
    return 1;
  }

  CGrille grille;
  grille.Load(dir);
  CAppcfg cfg;  // its own Load writes the file: only what the plan needs is read
  const std::string ini = dir + "tonara.ini";
  const std::string virgule = dir + "Habillages/3 tons.mp3";
  cfg.VirguleAvant = ReadProfileInt(ini, "Messages", "VirguleAvant", 0) != 0;
  cfg.VirguleEntre = ReadProfileInt(ini, "Messages", "VirguleEntre", 0) != 0;
  cfg.PathVirguleAvant = ReadProfileString(ini, "Virgules", "PathVirguleAvant", virgule);
  cfg.PathVirguleEntre = ReadProfileString(ini, "Virgules", "PathVirguleEntre", virgule);

  CEcranPret ecran;
  if (bVideo) SetEcran(&ecran);
  EventContext context{&cfg, nullptr, nullptr};
  CJournee journee(SystemClock(), grille, context);
  journee.SetDate(date);
  journee.Generer(kGenerationJour);
  SetEcran(nullptr);

  for (size_t n = 0; n < journee.NbEvents(); ++n) {
    CEvent* pEvent = journee.GetEventAt(n);
    std::string type;
    pEvent->GetTypeName(&type);
    std::printf("%02u:%02u  %-14s %s%s\n", pEvent->m_stHeure.wHour, pEvent->m_stHeure.wMinute, type.c_str(),
                pEvent->m_szPath.c_str(), PathExists(pEvent->m_szPath) ? "" : "  (missing)");
  }
  if (journee.m_bFichiersManquants) std::fprintf(stderr, "a rule's file or folder is missing\n");
  return 0;
}
