// A whole day of broadcast in one process: the real calendar, plan, rules, events, history and mixer on a
// fake clock, a fake wave device, a message queue and a start directory of the test's own. Time stands
// still until the test moves it:
//
//   CDay day(2026, 3, 2, 9, 59, 50);
//   day.grille.Remplace({Fixe(day.Wav("a.wav", 3000), 1000)});
//   day.Demarre();
//   day.Avance(20);                       // seconds, in ticks of 200 ms
//   EXPECT_THAT(day.Historique(), ...);   // "10:00:00 a.wav (Message audio)"
//
// Header only, because its users link tonara::schedule and the fakes' library doesn't.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "platform/messages.h"
#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "tests/support/fakeclock.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/msgqueue.h"
#include "tests/support/tempdir.h"

namespace tonara::test {

/// A rule at one time of each day.
inline Rule Fixe(std::string szPath, uint32_t dwHeure) {
  Rule rule;
  rule.Path = std::move(szPath);
  rule.TimeMode = 1;
  rule.TimeBegin = dwHeure;
  return rule;
}

/// A rule every dwMinutes.
inline Rule Periodique(std::string szPath, uint32_t dwMinutes, uint32_t dwDebut = 0, uint32_t dwFin = 2359) {
  Rule rule;
  rule.Path = std::move(szPath);
  rule.TimeFrequency = dwMinutes;
  rule.TimeBegin = dwDebut;
  rule.TimeEnd = dwFin;
  return rule;
}

/// A rule that draws from a folder.
inline Rule Dossier(Rule rule) {
  rule.Folder = true;
  return rule;
}

class CDay {
 public:
  static constexpr uint32_t kTickMs = 200;

  explicit CDay(int nYear = 2026, int nMonth = 3, int nDay = 2, int nHour = 9, int nMinute = 0, int nSecond = 0)
      : clock(nYear, nMonth, nDay, nHour, nMinute, nSecond) {
    g_bAutofadeActif = false;
    historique.SetPath(dir.Dir());
    historique.Enable(true);
    historique.SetClock(clock);
    stDernierJour = clock.LocalTime();
  }
  ~CDay() {
    calendrier.StopThread();
    calendrier.m_Journee.WaitGeneration();
    mixout.StopAll();
    mixout.Stop();
    g_bAutofadeActif = false;
  }
  CDay(const CDay&) = delete;
  CDay& operator=(const CDay&) = delete;

  /// A silent WAV file of that length in the start directory; its path. 8 kHz mono, to be quick.
  std::string Wav(const std::string& szName, uint32_t dwMs) {
    return dir.Write(szName, MakeWav({.dwFreq = 8000, .wChannels = 1}, std::string(size_t{dwMs} * 16, '\0')));
  }

  /// As the main window starts: mixer, groups, calendar, a full generation of today, messages on.
  void Demarre(bool bMessages = true) {
    mixout.StartSansThread(0, cfg.NbBuffers, cfg.TailleBuffers, 0);
    mixout.AddGroupe("MESSAGE", cfg.MessageAudio, 0.0F);
    mixout.AddGroupe("MUSIQUE", cfg.Music, cfg.AutoFade);
    calendrier.SetNotify(fenetre, kMsgTick);
    calendrier.StartSansThread();
    calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
    calendrier.SetMessagesActifs(bMessages);
    Tick();
  }

  /// One tick without time: timer 3 of the window, the firing thread's round, and the window's messages,
  /// a generation included.
  void Tick() {
    if (bTimerJour) calendrier.CheckJour(&stDernierJour);
    calendrier.Tick();
    Messages();
  }

  /// Time passes, the device plays it, then one tick.
  void Pas(uint32_t dwMs = kTickMs) {
    clock.Advance(dwMs);
    Joue(dwMs);
    Tick();
    if (fnApresPas) fnApresPas();
  }

  /// That many seconds in ticks.
  void Avance(uint32_t dwSecondes) {
    for (uint32_t n = 0; n < dwSecondes * (1000 / kTickMs); ++n) Pas();
  }

  /// In ticks up to that local time, which may be tomorrow's.
  void AvanceJusqua(int nHeure, int nMinute, int nSeconde = 0) {
    const int nBut = (nHeure * 60 + nMinute) * 60 + nSeconde;
    do {
      Pas();
    } while (clock.LocalTime().SecondsOfDay() != nBut);
  }

  /// In ticks until the condition holds; false if it doesn't within that time.
  bool AvanceTantQue(const std::function<bool()>& fnEncore, uint32_t dwSecondesMax) {
    for (uint32_t n = 0; n < dwSecondesMax * (1000 / kTickMs); ++n) {
      if (!fnEncore()) return true;
      Pas();
    }
    return !fnEncore();
  }

  /// Handles what was posted to the window; a generation that it starts is waited for.
  void Messages() {
    PostedMsg msg{};
    if (bAvecGeneration) {
      for (const PostedMsg& retenu : std::exchange(retenus, {})) Genere(retenu);
    }
    while (queue.Take(&msg)) Message(msg);
    const auto limite = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (bGenerationEnCours) {
      if (queue.Take(&msg)) {
        Message(msg);
      } else if (std::chrono::steady_clock::now() > limite) {
        FAIL() << "a generation did not end";
      } else {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
      }
    }
  }

  [[nodiscard]] std::string Statut() {
    std::string text;
    calendrier.GetStatusText(&text);
    return text;
  }

  /// The lines since the last call, "HH:MM:SS text" with file names without their folder.
  std::vector<std::string> Historique() {
    std::vector<std::string> lines;
    for (std::string line : Lignes(dir / "Historique.txt", &nLuHistorique)) {
      line.erase(0, line.find(' ') + 1);  // date
      line.erase(8, 2);                   // "- "
      if (const size_t slash = line.rfind('/'); slash != std::string::npos) line.erase(9, slash - 8);
      lines.push_back(std::move(line));
    }
    return lines;
  }
  /// Forgets the history, so that a long run doesn't fill the disk.
  void OublieFichiers() {
    std::error_code ignored;
    std::filesystem::remove(dir / "Historique.txt", ignored);
    nLuHistorique = 0;
  }

  CTempDir dir;
  CFakeClock clock;
  CFakeWave wave;
  CMsgQueue queue;
  CAppcfg cfg;
  CHistorique historique;
  CMixout mixout;
  CGrille grille;
  EventContext context{&cfg, &mixout, &historique};
  CCalendrier calendrier{clock, grille, context};
  MsgTarget fenetre = NewMsgTarget();
  CCivilTime stDernierJour;

  bool bTimerJour = true;       ///< the window's timer 3 runs
  bool bAvecGeneration = true;  ///< off: messages 1028 wait until it is on
  bool bGarderSon = false;      ///< keep what was played, for wave.TakePlayed
  int nTicksPostes = 0;         ///< messages 1027 so far
  int nGenerations = 0;         ///< messages 1029 so far
  uintptr_t wDernierMode = 0;   ///< wParam of the last message 1028
  std::function<void()> fnApresPas;

 private:
  void Message(const PostedMsg& msg) {
    EXPECT_EQ(msg.target, fenetre);
    switch (msg.uMsg) {
      case kMsgTick:
        ++nTicksPostes;
        break;
      case kMsgGeneration:
        wDernierMode = msg.wParam;
        if (bAvecGeneration) {
          Genere(msg);
        } else {
          retenus.push_back(msg);
        }
        break;
      case kMsgFinGeneration:
        ++nGenerations;
        bGenerationEnCours = false;
        calendrier.EndGeneration();
        break;
      default:
        FAIL() << "message " << msg.uMsg;
    }
  }

  void Genere(const PostedMsg& msg) {
    bGenerationEnCours = true;
    calendrier.OnMsgGeneration(static_cast<uint32_t>(msg.wParam));
  }

  void Joue(uint32_t dwMs) {
    dwReste += dwMs;
    const auto dwBloc = static_cast<uint32_t>(cfg.TailleBuffers);
    for (; dwReste >= dwBloc && wave.IsOpen(); dwReste -= dwBloc) {
      wave.Play(1);
      mixout.Tick();
    }
    dwReste %= dwBloc;
    if (!bGarderSon) wave.TakePlayed();
  }

  static std::vector<std::string> Lignes(const std::string& szPath, size_t* pnLu) {
    std::vector<std::string> lines;
    std::ifstream in(szPath);
    in.seekg(static_cast<std::streamoff>(*pnLu));
    for (std::string line; std::getline(in, line);) {
      *pnLu += line.size() + 1;
      lines.push_back(line);
    }
    return lines;
  }

  uint32_t dwReste = 0;
  bool bGenerationEnCours = false;
  std::vector<PostedMsg> retenus;
  size_t nLuHistorique = 0;
};

}  // namespace tonara::test
