// The line input against the output's clock, and recordings as other programs read them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "audio/mixout.h"
#include "audio/waverecorder.h"
#include "programmes/linesource.h"
#include "tests/integration/musicshop.h"

namespace tonara::test {
namespace {

constexpr uint32_t kFramesCapture = 8820;  // 200 ms
constexpr uint32_t kOctetsCapture = kFramesCapture * 4;
constexpr uint32_t kOctetsBloc = 8820;  // 50 ms of output

// Input and output on two clocks, in fake time, over the real mixer with its thread. Each captured
// frame carries its number, so that what is heard tells where it was dropped and how old it is.
class CDerive {
 public:
  explicit CDerive(double dPpm) : m_dPasCapture(200000.0 / (1.0 + dPpm * 1e-6)) {
    ligne.SetSansThread();
    mixout.Start(0, 10, 50, 0);
  }
  ~CDerive() {
    ligne.Stop();
    mixout.StopAll();
    mixout.Stop();
  }

  void Joue(double dMinutes) {
    std::atomic<bool> bPret{false};
    std::thread depart([&] {
      EXPECT_TRUE(ligne.Start("FakeIn", &mixout, nullptr, 0.0F));
      bPret.store(true);
    });
    while (!bPret.load()) {
      if (ligne.IsOuvert() && AttendEntree()) Capture();
      std::this_thread::yield();
    }
    depart.join();
    double dCapture = m_dT = m_dPasCapture * m_nCaptures;
    double dLecture = m_dT;
    const double dFin = m_dT + dMinutes * 60e6;
    ASSERT_TRUE(Pose());
    while (m_dT < dFin) {
      if (dCapture + m_dPasCapture <= dLecture + 50000) {
        m_dT = dCapture += m_dPasCapture;
        Capture();
      } else {
        m_dT = dLecture += 50000;
        Lecture();
      }
      ASSERT_TRUE(Pose()) << m_dT / 1e6 << " s";
    }
  }

  CFakeWave wave;
  CMixout mixout;
  CLineSource ligne;
  int nSauts = 0;  ///< places where what is heard skips
  int nTrous = 0;  ///< times the output had nothing
  uint32_t nTrouMs = 0;
  double dRetardMax = 0;  ///< ms, from the end of a frame's capture to its being heard

 private:
  void Capture() {
    std::vector<int16_t> bloc(size_t{kFramesCapture} * 2);
    for (uint32_t k = 0; k < kFramesCapture; ++k) {
      const uint64_t n = uint64_t{m_nCaptures} * kFramesCapture + k;
      bloc[k * 2] = static_cast<int16_t>(n & 0x7FFF);
      bloc[k * 2 + 1] = static_cast<int16_t>(n >> 15);
    }
    ++m_nCaptures;
    ASSERT_TRUE(wave.Record(bloc.data(), kOctetsCapture));
    ligne.TickCapture();
    if (ligne.NbRefus() == 0) m_llPris += kOctetsCapture;
  }
  void Lecture() {
    const int nJoues = wave.Play(1);
    const std::vector<int16_t> pcm = wave.TakePlayed16();
    if (nJoues == 0) {
      if (m_bSon) ++nTrous;
      m_bSon = false;
      nTrouMs += 50;
      return;
    }
    m_bSon = true;
    m_llJoues += pcm.size() * 2;
    // Silence and the writing of samples both take 1 from what isn't negative.
    for (size_t i = 0; i < pcm.size(); i += 2) {
      const int64_t n = (int64_t{pcm[i + 1]} + 1) * 32768 + pcm[i] + 1;
      if (n != m_nDernier + 1) ++nSauts;
      m_nDernier = n;
    }
    // The frame was captured at the end of its number's time on the input's clock.
    const double dRetard = (m_dT - static_cast<double>(m_nDernier + 1) / kFramesCapture * m_dPasCapture) / 1000;
    dRetardMax = std::max(dRetardMax, dRetard);
  }
  // Waits until the mixer has done what it can: its queue is full, or it waits for the input.
  bool Pose() {
    return Attends([this] { return wave.Queued() == 10 || AttendEntree(); });
  }
  // True if the mixer has a block to fill and the ring doesn't hold that much.
  bool AttendEntree() {
    const int nQueue = wave.Queued();
    return nQueue < 10 && m_llPris - m_llJoues - static_cast<uint64_t>(nQueue) * kOctetsBloc < kOctetsBloc;
  }

  const double m_dPasCapture;  // us
  double m_dT = 0;
  uint32_t m_nCaptures = 0;
  uint64_t m_llPris = 0;
  uint64_t m_llJoues = 0;
  int64_t m_nDernier = -1;
  bool m_bSon = true;
};

// Ten times the usual drift for a tenth of an hour is the same drift; slow by twice that, so that the
// output's queue runs out too.
TEST(LigneDerive, FastAndSlowInputsNeitherAddDelayNorClickMoreThanTheDriftAsks) {
  for (const double dPpm : {1000.0, -2000.0}) {
    CDerive derive(dPpm);
    derive.Joue(6);
    const double dDeriveMs = std::fabs(dPpm) * 0.36;
    // A refused block is worth 200 ms of drift. A wait is worth what it lasted, and the output asks again
    // every 50 ms.
    EXPECT_LE(derive.nSauts, static_cast<int>(dDeriveMs / 200) + 1);
    EXPECT_LE(derive.nTrous, static_cast<int>(dDeriveMs / 50) + 1);
    EXPECT_LE(derive.nTrouMs, dDeriveMs + 50);
    // The output's queue, the ring, and the block that is being captured.
    EXPECT_LE(derive.dRetardMax, 500 + 257 + 200);
  }
}

std::string Sortie(const std::string& szCommande) {
  std::string texte;
  std::array<char, 256> ligne;
  FILE* pipe = popen(szCommande.c_str(), "r");
  if (pipe == nullptr) return texte;
  while (std::fgets(ligne.data(), ligne.size(), pipe) != nullptr) texte += ligne.data();
  pclose(pipe);
  return texte;
}

// A process that records is killed without warning. What it left opens in other programs, whole up to
// the last block, split where it should be.
TEST(Enregistrement, KilledInTheMiddleLeavesFilesThatOtherProgramsOpen) {
  CTempDir dir;
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    umask(022);
    CFakeWave wave;
    CWaveRecorder rec(44100, 2, 16);
    rec.SetSansThread();
    rec.SetLimiteFichier(10 * kOctetsCapture);
    const std::string szFichier = dir / "antenne.wav";
    if (!rec.Init(&szFichier, 0) || !rec.Prepare() || !rec.Demarre(false)) _exit(1);
    std::vector<int16_t> bloc(size_t{kFramesCapture} * 2);
    for (uint32_t n = 0; n < 25; ++n) {
      for (uint32_t k = 0; k < kFramesCapture; ++k) {
        const double phi = 2 * std::numbers::pi * 1000 * (n * kFramesCapture + k) / 44100;
        bloc[k * 2] = bloc[k * 2 + 1] = static_cast<int16_t>(16384 * std::sin(phi));
      }
      if (!wave.Record(bloc.data(), kOctetsCapture) || !rec.Tick()) _exit(2);
    }
    kill(getpid(), SIGKILL);
  }
  int nEtat = 0;
  ASSERT_EQ(waitpid(pid, &nEtat, 0), pid);
  ASSERT_TRUE(WIFSIGNALED(nEtat)) << WEXITSTATUS(nEtat);

  struct stat st {};
  ASSERT_EQ(stat((dir / "antenne_01.wav").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0644U);
  if (Sortie("sox --version").empty()) GTEST_SKIP() << "no sox on this machine";
  const auto Trames = [&](const char* szNom) { return Sortie("soxi -s '" + dir / szNom + "' 2>&1"); };
  EXPECT_EQ(Trames("antenne.wav"), "88200\n");
  EXPECT_EQ(Trames("antenne_01.wav"), "88200\n");
  EXPECT_EQ(Trames("antenne_02.wav"), "44100\n");
  const std::string szStat = Sortie("sox '" + dir / "antenne.wav" + "' '" + dir / "antenne_01.wav" + "' '" +
                                    dir / "antenne_02.wav" + "' -n stat 2>&1");
  const auto Valeur = [&](const char* szCle) {
    const size_t n = szStat.find(szCle);
    return n == std::string::npos ? -1.0 : std::atof(szStat.c_str() + n + std::strlen(szCle));
  };
  EXPECT_EQ(szStat.find("WARN"), std::string::npos) << szStat;
  EXPECT_NEAR(Valeur("RMS     amplitude:"), 0.5 / std::numbers::sqrt2, 0.001) << szStat;
  EXPECT_NEAR(Valeur("Maximum delta:"), 2 * 0.5 * std::sin(std::numbers::pi * 1000 / 44100), 0.001)
      << "a step where two files meet";
}

}  // namespace
}  // namespace tonara::test
