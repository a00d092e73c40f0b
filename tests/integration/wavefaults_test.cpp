// Wave devices on real sound servers that crash, freeze, lose a sink and come back: blocks go on
// completing at the sample rate, no call blocks, the sound returns, one line tells of each loss and
// return.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "platform/event.h"
#include "platform/wavedevice.h"
#include "tests/support/soundserver.h"
#include "tests/support/waitfor.h"

namespace tonara::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Kind = CSoundServer::Kind;

constexpr uint32_t kRate = 44100;
constexpr uint32_t kBlockFrames = kRate / 20;
constexpr int kBlocks = 10;
constexpr int kAmplitude = 8000;
/// Heard through a null sink's monitor, anything above this is our sine.
constexpr int kHeard = 4000;
/// The server holds 100 ms, a block is 50 ms, and the machine may be busy.
constexpr double kMaxDriftSec = 0.4;
constexpr double kMaxCallSec = 0.1;

double Seconds(Clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

/// Keeps the lines that devices say while it lives.
class CNotices {
 public:
  CNotices() {
    s_lines.clear();
    SetWaveNotice([](const char* szText) {
      std::lock_guard lock(s_mutex);
      s_lines.emplace_back(szText);
    });
  }
  ~CNotices() { SetWaveNotice(nullptr); }
  [[nodiscard]] int Count(const std::string& szPart) const {
    std::lock_guard lock(s_mutex);
    return static_cast<int>(
        std::ranges::count_if(s_lines, [&](const std::string& one) { return one.find(szPart) != std::string::npos; }));
  }
  [[nodiscard]] int Lost() const { return Count(" perdu : "); }
  [[nodiscard]] int Returned() const { return Count(" retrouvé : "); }

 private:
  static inline std::mutex s_mutex;
  static inline std::vector<std::string> s_lines;
};

/// Plays a sine the way the mixer does: a thread refills each finished block. Watches the pace and
/// the length of every call.
class CPlayer {
 public:
  /// The pitch is a multiple of 20 Hz, so that blocks of 50 ms join without a seam. Players that share
  /// a sink need different ones: equal sines cancel out when they happen to meet in opposite phase.
  CPlayer(CWaveBackend& backend, uint32_t nIndex, int nHz = 440) {
    std::string szError;
    const auto before = Clock::now();
    m_pDevice = backend.OpenOut(nIndex, MakePcmFormat(kRate, 2, 16), true, OnDone, &szError);
    m_openSec = Seconds(Clock::now() - before);
    EXPECT_NE(m_pDevice, nullptr) << szError;
    if (m_pDevice == nullptr) return;
    for (Block& block : m_blocks) {
      block.pPlayer = this;
      block.samples.resize(kBlockFrames * 2);
      for (uint32_t n = 0; n < kBlockFrames; ++n) {
        const double dPhase = 2 * std::numbers::pi * nHz * n / kRate;
        block.samples[2 * n] = block.samples[2 * n + 1] = static_cast<int16_t>(kAmplitude * std::sin(dPhase));
      }
      block.header.pData = reinterpret_cast<uint8_t*>(block.samples.data());
      block.header.dwLength = kBlockFrames * 4;
      block.header.pUser = &block;
      m_pDevice->Write(&block.header);
    }
    m_start = Clock::now();
    m_pDevice->Restart();
    m_thread = std::thread([this] { Run(); });
  }
  ~CPlayer() {
    if (m_pDevice == nullptr) return;
    m_bStop = true;
    m_event.Set();
    m_thread.join();
    Timed([this] { m_pDevice->Reset(); });
    const auto before = Clock::now();
    m_pDevice.reset();
    EXPECT_LT(Seconds(Clock::now() - before), 0.5) << "Close";
    EXPECT_LT(m_dSlowest, kMaxCallSec) << "slowest call";
  }

  /// The pace held since the start: worst lead and lag of the completed frames against the clock.
  void ExpectOnTime(const char* szWhen) {
    std::lock_guard lock(m_mutex);
    testing::Test::RecordProperty("worst_lead_ms", static_cast<int>(m_dLead * 1000));
    testing::Test::RecordProperty("worst_lag_ms", static_cast<int>(m_dLag * 1000));
    EXPECT_LT(m_dLead, kMaxDriftSec) << szWhen;
    EXPECT_GT(m_dLag, -kMaxDriftSec) << szWhen;
  }
  [[nodiscard]] double OpenSec() const { return m_openSec; }

 private:
  struct Block {
    WaveHeader header;
    std::vector<int16_t> samples;
    std::atomic<bool> bDone{false};
    CPlayer* pPlayer = nullptr;
  };
  static void OnDone(WaveHeader* pHeader) {
    auto* pBlock = static_cast<Block*>(pHeader->pUser);
    pBlock->bDone = true;
    pBlock->pPlayer->m_event.Set();
  }
  template <typename F>
  void Timed(F&& fnCall) {
    const auto before = Clock::now();
    fnCall();
    m_dSlowest = std::max(m_dSlowest, Seconds(Clock::now() - before));
  }
  void Run() {
    uint32_t dwLast = 0;
    while (!m_bStop) {
      m_event.Wait(20);
      for (Block& block : m_blocks) {
        if (block.bDone.exchange(false)) Timed([&] { EXPECT_TRUE(m_pDevice->Write(&block.header)); });
      }
      uint32_t dwFrames = 0;
      Timed([&] { EXPECT_TRUE(m_pDevice->GetPosition(&dwFrames)); });
      EXPECT_GE(dwFrames, dwLast);
      dwLast = dwFrames;
      const double dDrift = dwFrames / double{kRate} - Seconds(Clock::now() - m_start);
      std::lock_guard lock(m_mutex);
      m_dLead = std::max(m_dLead, dDrift);
      m_dLag = std::min(m_dLag, dDrift);
    }
  }

  std::unique_ptr<CWaveOutDevice> m_pDevice;
  double m_openSec = 0;
  std::vector<Block> m_blocks = std::vector<Block>(kBlocks);
  CAutoEvent m_event;
  Clock::time_point m_start;
  std::atomic<bool> m_bStop{false};
  std::thread m_thread;
  double m_dSlowest = 0;
  std::mutex m_mutex;
  double m_dLead = 0;
  double m_dLag = 0;
};

class WaveFaults : public testing::TestWithParam<Kind> {
 protected:
  void SetUp() override {
    if (!CSoundServer::IsInstalled(GetParam())) GTEST_SKIP() << "the sound server is not installed";
    m_pServer = std::make_unique<CSoundServer>(GetParam());
    m_pBackend = MakeWaveBackend("pulse");
  }
  void TearDown() override {
    m_pBackend.reset();
    m_pServer.reset();
  }
  /// Starts the server with one sink; index of that sink in the list.
  uint32_t StartWithSink() {
    EXPECT_TRUE(m_pServer->Start());
    EXPECT_TRUE(m_pServer->AddSink("sortie", "Sortie du magasin"));
    const int32_t nIndex = m_pBackend->FindOut("Sortie du magasin");
    EXPECT_GE(nIndex, 0);
    return static_cast<uint32_t>(nIndex);
  }
  [[nodiscard]] bool Heard(Clock::duration within) {
    return WaitFor([this] { return m_pServer->HeardPeak("sortie") > kHeard; }, within);
  }

  std::unique_ptr<CSoundServer> m_pServer;
  std::unique_ptr<CWaveBackend> m_pBackend;
  CNotices m_notices;
};

TEST_P(WaveFaults, SinkVanishesAndComesBack) {
  const uint32_t nIndex = StartWithSink();
  ASSERT_TRUE(m_pServer->AddSink("autre", "Autre sortie"));
  CPlayer player(*m_pBackend, nIndex);
  ASSERT_TRUE(Heard(seconds(3)));
  EXPECT_EQ(m_notices.Lost(), 0);

  ASSERT_TRUE(m_pServer->RemoveSink("sortie"));
  EXPECT_TRUE(WaitFor([&] { return m_notices.Lost() == 1; }, seconds(2)));
  std::this_thread::sleep_for(seconds(2));  // the time to be kept in silence
  EXPECT_EQ(m_pServer->HeardPeak("autre") > kHeard, false) << "a named device's sound is not for another one";
  player.ExpectOnTime("without the sink");

  ASSERT_TRUE(m_pServer->AddSink("sortie", "Sortie du magasin"));
  EXPECT_TRUE(WaitFor([&] { return m_notices.Returned() == 1; }, seconds(2)));
  EXPECT_TRUE(Heard(seconds(2)));
  player.ExpectOnTime("with the sink back");
  EXPECT_EQ(m_notices.Lost(), 1);
  EXPECT_EQ(m_notices.Count("perdu : Sortie du magasin"), 1);
}

TEST_P(WaveFaults, ServerFrozen) {
  const uint32_t nIndex = StartWithSink();
  CPlayer player(*m_pBackend, nIndex);
  ASSERT_TRUE(Heard(seconds(3)));
  m_pServer->Freeze();
  EXPECT_TRUE(WaitFor([&] { return m_notices.Lost() == 1; }, seconds(3)));

  // A frozen server holds nobody up, neither in the lists nor in an opening.
  auto before = Clock::now();
  EXPECT_GT(m_pBackend->OutCount(), 0u) << "the list is a cached one";
  EXPECT_LT(Seconds(Clock::now() - before), 1.0);
  {
    CPlayer second(*m_pBackend, kWaveMapper, 660);
    EXPECT_LT(second.OpenSec(), 0.2);
    std::this_thread::sleep_for(seconds(2));
    second.ExpectOnTime("opened on a frozen server");
  }
  player.ExpectOnTime("frozen");

  const int nLost = m_notices.Count("perdu : Sortie du magasin");
  m_pServer->Thaw();
  EXPECT_TRUE(WaitFor([&] { return m_notices.Count("retrouvé : Sortie du magasin") == 1; }, seconds(2)));
  EXPECT_TRUE(Heard(seconds(2)));
  std::this_thread::sleep_for(milliseconds(500));  // a burst would show now
  player.ExpectOnTime("thawed");
  EXPECT_EQ(nLost, 1);
  EXPECT_EQ(m_notices.Count("perdu : Sortie du magasin"), 1);
  EXPECT_LE(m_pServer->Streams(), 1) << "streams left behind";
}

TEST_P(WaveFaults, ServerKilledAndRestarted) {
  const int nRounds = GetParam() == Kind::PulseAudio ? 8 : 2;
  const uint32_t nIndex = StartWithSink();
  CPlayer player(*m_pBackend, nIndex);
  CPlayer other(*m_pBackend, kWaveMapper, 660);
  ASSERT_TRUE(Heard(seconds(3)));
  double dSlowest = 0;
  std::vector<std::jthread> busy(std::max(std::thread::hardware_concurrency(), 1u));
  for (std::jthread& thread : busy) {
    thread = std::jthread([](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
      }
    });
  }
  for (int nRound = 1; nRound <= nRounds; ++nRound) {
    m_pServer->Kill();
    ASSERT_TRUE(WaitFor([&] { return m_notices.Lost() == 2 * nRound; }, seconds(2))) << nRound;
    ASSERT_TRUE(m_pServer->Start()) << nRound;
    ASSERT_TRUE(m_pServer->AddSink("sortie", "Sortie du magasin")) << nRound;
    const auto before = Clock::now();
    ASSERT_TRUE(WaitFor([&] { return m_notices.Returned() == 2 * nRound; }, seconds(5))) << nRound;
    dSlowest = std::max(dSlowest, Seconds(Clock::now() - before));
  }
  EXPECT_LT(dSlowest, 2.0) << "from the sink's return to the sound's";
  RecordProperty("slowest_return_ms", static_cast<int>(dSlowest * 1000));
  EXPECT_TRUE(Heard(seconds(2)));
  player.ExpectOnTime("after the restarts");
  other.ExpectOnTime("after the restarts");
  EXPECT_EQ(m_notices.Lost(), 2 * nRounds);
  EXPECT_EQ(m_notices.Returned(), 2 * nRounds);
}

std::string KindName(const testing::TestParamInfo<Kind>& info) {
  return info.param == Kind::PulseAudio ? "PulseAudio" : "PipeWire";
}

INSTANTIATE_TEST_SUITE_P(Servers, WaveFaults, testing::Values(Kind::PulseAudio, Kind::PipeWire), KindName);

class WaveServer : public WaveFaults {};
INSTANTIATE_TEST_SUITE_P(Servers, WaveServer, testing::Values(Kind::PulseAudio), KindName);

TEST_P(WaveServer, OpensWithoutAServerAndComesAlive) {
  {
    CPlayer player(*m_pBackend, kWaveMapper);
    EXPECT_LT(player.OpenSec(), 0.6);
    std::this_thread::sleep_for(milliseconds(1500));
    player.ExpectOnTime("without a server");
    StartWithSink();
    EXPECT_TRUE(WaitFor([&] { return m_notices.Returned() == 1; }, seconds(3)));
    EXPECT_TRUE(Heard(seconds(2)));
    player.ExpectOnTime("with a server");
    EXPECT_EQ(m_notices.Lost(), 1);
  }
  m_pServer->Kill();
  m_pBackend = MakeWaveBackend("auto");  // no server, no card: as pulse
  CPlayer player(*m_pBackend, kWaveMapper);
  ASSERT_TRUE(m_pServer->Start());
  ASSERT_TRUE(m_pServer->AddSink("sortie", "Sortie du magasin"));
  EXPECT_TRUE(Heard(seconds(3)));
  player.ExpectOnTime("auto");
}

TEST_P(WaveServer, AutoGoesOverToALateServer) {
  setenv("TONARA_ALSA_PCM", "null", 1);
  m_pBackend = MakeWaveBackend("auto");
  EXPECT_EQ(m_pBackend->FindOut("null"), 0);
  ASSERT_TRUE(m_pServer->Start());
  ASSERT_TRUE(m_pServer->AddSink("sortie", "Sortie du magasin"));
  {
    CPlayer player(*m_pBackend, 0);  // an index of ALSA's list, whose card the server has by now
    EXPECT_TRUE(Heard(seconds(3)));
    EXPECT_EQ(m_pBackend->FindOut("Sortie du magasin"), 0);
    player.ExpectOnTime("late server");
  }
  unsetenv("TONARA_ALSA_PCM");
}

TEST_P(WaveServer, AStreamThatBeginsLateIsNoLoss) {
  ASSERT_TRUE(m_pServer->Start());
  ASSERT_TRUE(m_pServer->AddSink("sortie", "Sortie du magasin", false));
  CPlayer player(*m_pBackend, kWaveMapper);
  EXPECT_TRUE(Heard(seconds(4)));
  player.ExpectOnTime("begun late");
  EXPECT_EQ(m_notices.Lost(), 0);
}

class WaveGraph : public WaveFaults {};
INSTANTIATE_TEST_SUITE_P(Servers, WaveGraph, testing::Values(Kind::PipeWire), KindName);

TEST_P(WaveGraph, CatchingUpIsNoBurst) {
  const uint32_t nIndex = StartWithSink();
  CPlayer player(*m_pBackend, nIndex);
  ASSERT_TRUE(Heard(seconds(3)));
  m_pServer->FreezeGraph();
  EXPECT_TRUE(WaitFor([&] { return m_notices.Lost() == 1; }, seconds(3)));
  std::this_thread::sleep_for(seconds(2));
  m_pServer->ThawGraph();  // plays the lost seconds within a moment
  EXPECT_TRUE(WaitFor([&] { return m_notices.Returned() == 1; }, seconds(2)));
  EXPECT_TRUE(Heard(seconds(2)));
  std::this_thread::sleep_for(milliseconds(500));
  player.ExpectOnTime("caught up");
  EXPECT_EQ(m_notices.Lost(), 1);
}

TEST_P(WaveServer, DefaultOutputMovesWhereTheServerMovesIt) {
  StartWithSink();
  ASSERT_TRUE(m_pServer->AddSink("autre", "Autre sortie"));
  m_pServer->Pactl("set-default-sink autre");
  CPlayer player(*m_pBackend, kWaveMapper);
  EXPECT_TRUE(WaitFor([&] { return m_pServer->HeardPeak("autre") > kHeard; }, seconds(3)));
  ASSERT_TRUE(m_pServer->RemoveSink("autre"));
  EXPECT_TRUE(Heard(seconds(2)));
  player.ExpectOnTime("moved");
}

TEST_P(WaveServer, ListsAndNames) {
  ASSERT_TRUE(m_pServer->Start());
  m_pServer->Pactl("load-module module-always-sink");
  EXPECT_TRUE(
      WaitFor([&] { return m_pServer->Pactl("list short sinks").find("auto_null") != std::string::npos; }, seconds(3)));
  EXPECT_EQ(m_pBackend->OutCount(), 0u) << "the server's stand-in for no device is no device";

  // 30 bytes and a two-byte letter: the cut falls between characters.
  const std::string szLong = "Haut-parleurs de la galerie 01é, côté parking";
  ASSERT_TRUE(m_pServer->AddSink("n1", szLong));
  ASSERT_TRUE(m_pServer->AddSink("n2", szLong));
  ASSERT_TRUE(WaitFor([&] { return m_pBackend->OutCount() == 2; }, seconds(2)));
  std::string szName;
  ASSERT_TRUE(m_pBackend->OutName(1, &szName));
  EXPECT_EQ(szName, "Haut-parleurs de la galerie 01");
  EXPECT_EQ(m_pBackend->FindOut(szName), 0);
  EXPECT_EQ(m_pBackend->FindOut("n2"), 1) << "the server's own name will do";

  // An index means what the list said when it was read, whatever has come or gone since.
  ASSERT_EQ(m_pBackend->OutCount(), 2u);
  ASSERT_TRUE(m_pServer->RemoveSink("n1"));
  CPlayer player(*m_pBackend, 1);
  EXPECT_TRUE(WaitFor([&] { return m_pServer->HeardPeak("n2") > kHeard; }, seconds(3)));
}

TEST_P(WaveServer, PauseHoldsTimeAndTheEndIsHeard) {
  const uint32_t nIndex = StartWithSink();
  static std::atomic<int> s_nDone;
  s_nDone = 0;
  std::string szError;
  auto pOut = m_pBackend->OpenOut(
      nIndex, MakePcmFormat(kRate, 2, 16), true, [](WaveHeader*) { ++s_nDone; }, &szError);
  ASSERT_NE(pOut, nullptr) << szError;
  std::vector<int16_t> samples(kBlockFrames * 2, kAmplitude);
  std::vector<WaveHeader> headers(20);
  for (WaveHeader& header : headers) {
    header.pData = reinterpret_cast<uint8_t*>(samples.data());
    header.dwLength = kBlockFrames * 4;
    ASSERT_TRUE(pOut->Write(&header));
  }
  std::this_thread::sleep_for(milliseconds(200));
  EXPECT_EQ(s_nDone, 0) << "comes up paused";
  ASSERT_TRUE(pOut->Restart());
  ASSERT_TRUE(WaitFor([] { return s_nDone >= 5; }, seconds(3)));
  ASSERT_TRUE(pOut->Pause());
  const int nPaused = s_nDone;
  uint32_t dwPosition = 0;
  ASSERT_TRUE(pOut->GetPosition(&dwPosition));
  EXPECT_EQ(dwPosition, static_cast<uint32_t>(nPaused) * kBlockFrames);
  std::this_thread::sleep_for(milliseconds(500));
  EXPECT_EQ(s_nDone, nPaused);
  ASSERT_TRUE(pOut->Restart());
  ASSERT_TRUE(WaitFor([] { return s_nDone == 20; }, seconds(3)));
  ASSERT_TRUE(pOut->Reset());
  ASSERT_TRUE(pOut->GetPosition(&dwPosition));
  EXPECT_EQ(dwPosition, 0u);
  // The last tenth of a second is still in the server: it plays out, then the stream goes.
  pOut.reset();
  EXPECT_TRUE(WaitFor([&] { return m_pServer->Streams() == 0; }, seconds(3)));
}

}  // namespace
}  // namespace tonara::test
