// "Source externe" on real sound servers: the monitor of one null sink is the input, another null sink
// the loudspeaker. A tone sent in comes out, is ducked by a message's fade, and comes back by itself
// after its source has gone for a while.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "programmes/audioligneprogram.h"
#include "tests/integration/musicshop.h"
#include "tests/support/soundserver.h"

namespace tonara::test {
namespace {

using Kind = CSoundServer::Kind;

class LigneServeur : public testing::TestWithParam<Kind> {};

TEST_P(LigneServeur, ToneComesThroughIsDuckedAndReturnsAfterALoss) {
  if (!CSoundServer::IsInstalled(GetParam())) GTEST_SKIP() << "no such sound server";
  CSoundServer serveur(GetParam());
  ASSERT_TRUE(serveur.Start());
  ASSERT_TRUE(serveur.AddSink("tuner", "Tuner"));
  ASSERT_TRUE(serveur.AddSink("salle", "Salle"));
  const std::unique_ptr<CWaveBackend> pBackend = MakeWaveBackend("pulse");
  SetWaveBackend(pBackend.get());
  struct Fin {
    ~Fin() { SetWaveBackend(nullptr); }
  } fin;

  CTempDir dir;
  CWavShape forme;
  const std::string szTon = dir.Write("ton.wav", MakeWav(forme, MakeTone(44100, 2, 16, 60000, 440)));
  const auto Emet = [&] {
    return std::system(
               ("paplay --device=tuner '" + szTon + "' >/dev/null 2>&1 & echo $! > '" + dir / "pid" + "'").c_str()) ==
           0;
  };
  // A player outlives its sink: the server would move it to the loudspeaker.
  const auto Tait = [&] {
    const int pid = std::atoi(dir.Read("pid").c_str());
    if (pid > 0) kill(pid, SIGKILL);
  };
  // What is sent in, as this server lets its sinks be listened to.
  int nEntree = 0;
  // Heard at that part of it within so many seconds.
  const auto Entendu = [&](double dMin, double dMax, int nSecondes) {
    const auto limite = std::chrono::steady_clock::now() + std::chrono::seconds(nSecondes);
    int nCrete = -1;
    while (std::chrono::steady_clock::now() < limite) {
      nCrete = serveur.HeardPeak("salle");
      if (nCrete >= dMin * nEntree && nCrete <= dMax * nEntree) return true;
    }
    ADD_FAILURE() << "heard " << nCrete << " of " << nEntree;
    return false;
  };

  CAppcfg cfg;
  CHistorique historique;
  CMixout mixout;
  CLineSource ligne;
  mixout.AddGroupe("MUSIQUE", 0.0F, -12.0F);
  ASSERT_TRUE(Attends([&] { return FindDeviceIn("Monitor of Tuner") >= 0 && FindDeviceOut("Salle") >= 0; }));
  ASSERT_TRUE(mixout.Start(FindDeviceOut("Salle"), 10, 50, 0));
  cfg.DeviceIn = "Monitor of Tuner";
  CAudioLigneProgram pgm("", cfg, historique, mixout, ligne, SystemClock());
  const auto debut = std::chrono::steady_clock::now();
  ASSERT_TRUE(pgm.Start());
  EXPECT_LT(std::chrono::steady_clock::now() - debut, std::chrono::milliseconds(500)) << "the window waits for this";
  ASSERT_TRUE(Emet());
  ASSERT_TRUE(Attends([&] { return (nEntree = serveur.HeardPeak("tuner")) > 10000; }));
  EXPECT_TRUE(Entendu(0.95, 1.05, 10));

  mixout.SetEtatGroupe("MUSIQUE", 1);
  mixout.FadeAll(300, -12.0F, 1);
  EXPECT_TRUE(Entendu(0.23, 0.29, 5));
  mixout.SetEtatGroupe("MUSIQUE", 0);
  mixout.FadeAll(300, 0.0F, 0);
  EXPECT_TRUE(Entendu(0.95, 1.05, 5));

  Tait();
  ASSERT_TRUE(serveur.RemoveSink("tuner"));
  EXPECT_TRUE(Entendu(-1, 0.01, 5));
  std::this_thread::sleep_for(std::chrono::seconds(7));  // past the source's own patience of 5 s
  ASSERT_TRUE(serveur.AddSink("tuner", "Tuner"));
  ASSERT_TRUE(Emet());
  EXPECT_TRUE(Entendu(0.95, 1.05, 10));

  Tait();
  const auto arret = std::chrono::steady_clock::now();
  pgm.Stop();
  EXPECT_LT(std::chrono::steady_clock::now() - arret, std::chrono::milliseconds(1000));
  EXPECT_EQ(mixout.NbTranchesPrises(), 0);
  mixout.StopAll();
  mixout.Stop();
}

INSTANTIATE_TEST_SUITE_P(Serveurs, LigneServeur, testing::Values(Kind::PulseAudio, Kind::PipeWire),
                         [](const auto& cas) { return cas.param == Kind::PulseAudio ? "PulseAudio" : "PipeWire"; });

}  // namespace
}  // namespace tonara::test
