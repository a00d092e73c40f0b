#include "audio/waveout.h"

#include <gtest/gtest.h>

#include "core/log.h"
#include "tests/support/fakewave.h"
#include "tests/support/tempdir.h"

namespace tonara {
namespace {

class WaveOut : public testing::Test {
 protected:
  WaveOut() {
    LogSetFile(m_dir.Dir(), "log.txt", true);
    LogOpen();
  }

 public:
  ~WaveOut() override {
    LogClose();
    LogSetFile("", "", false);
  }

 protected:
  bool Open() { return m_out.Open(0, MakePcmFormat(44100, 2, 16), 4, 50, &m_event); }
  int Traced(const std::string& szTexte) {
    const std::string szLog = m_dir.Read("log.txt");
    int n = 0;
    for (size_t p = szLog.find(szTexte); p != std::string::npos; p = szLog.find(szTexte, p + 1)) ++n;
    return n;
  }

  test::CTempDir m_dir;
  test::CFakeWave m_wave;
  CAutoEvent m_event;
  CWaveOut m_out;
};

TEST_F(WaveOut, ComesUpPausedAndCyclesItsBlocks) {
  ASSERT_TRUE(Open());
  EXPECT_TRUE(Open());  // already open
  EXPECT_EQ(m_wave.Opens(), 1);
  EXPECT_TRUE(m_wave.IsPaused());
  EXPECT_EQ(m_out.NbBuffers(), 4);
  EXPECT_EQ(m_out.TailleBuffer(), 8820U);
  EXPECT_FALSE(m_out.Write(0, 0));
  EXPECT_FALSE(m_out.Write(4, 100));
  EXPECT_FALSE(m_out.Write(0, 8824));  // more than the block holds
  m_out.Data(1)[0] = 42;
  EXPECT_TRUE(m_out.Write(1, 8820));
  EXPECT_TRUE(m_out.Write(2, 400));
  EXPECT_FALSE(m_out.IsLibre(1));
  EXPECT_EQ(m_out.NbEnQueue(), 2);
  EXPECT_EQ(m_out.EchEcrites(), 2305U);

  EXPECT_TRUE(m_out.Restart());
  EXPECT_FALSE(m_event.Wait(0));
  EXPECT_EQ(m_wave.Play(1), 1);
  EXPECT_TRUE(m_event.Wait(0));
  EXPECT_FALSE(m_out.IsLibre(1));  // finished, not yet reaped
  m_out.Reap();
  EXPECT_TRUE(m_out.IsLibre(1));
  EXPECT_EQ(m_out.NbEnQueue(), 1);
  uint32_t dwMs = 0;
  EXPECT_TRUE(m_out.GetPosition(&dwMs));
  EXPECT_EQ(dwMs, 50U);
  EXPECT_EQ(m_wave.TakePlayed().at(0), 42);
}

TEST_F(WaveOut, ADeviceThatKnowsOnlyThePlainFormatOpens) {
  m_wave.RefuseExtensible(true);
  EXPECT_TRUE(Open());
  EXPECT_EQ(Traced("a échoué"), 0);
}

TEST_F(WaveOut, ARefusalIsTracedWithTheDevicesTextAndLeavesNothing) {
  m_wave.RefuseAll(true);
  EXPECT_FALSE(Open());
  EXPECT_FALSE(m_out.IsOpen());
  EXPECT_EQ(m_out.NbBuffers(), 0);
  EXPECT_EQ(Traced("waveOutOpen a échoué 0\nFormat refusé par le périphérique simulé\n"), 1);
  m_wave.RefuseAll(false);
  EXPECT_TRUE(Open());
  EXPECT_EQ(m_out.NbBuffers(), 4);
}

TEST_F(WaveOut, BlocksThatCanNotBeMadeAreTraced) {
  const PCMWAVEFORMAT format = MakePcmFormat(44100, 2, 16);
  EXPECT_FALSE(m_out.Open(3, format, 0, 50, &m_event));
  EXPECT_FALSE(m_out.Open(3, format, 4, -50, &m_event));
  EXPECT_FALSE(m_out.Open(3, format, 4000000000U, 50, &m_event));
  EXPECT_EQ(Traced("L'allocation des buffers Audio a échoué 3\n"), 3);
  EXPECT_EQ(m_wave.Opens(), 0);
}

TEST_F(WaveOut, ABlockWhoseWriteFailedIsOutOfTheRotation) {
  ASSERT_TRUE(Open());
  m_wave.FailWrites(true);
  EXPECT_FALSE(m_out.Write(0, 8820));
  EXPECT_EQ(Traced("waveOutWrite a échoué 0\n"), 1);
  m_wave.FailWrites(false);
  EXPECT_EQ(m_out.NbEnQueue(), 0);
  m_out.Reap();
  EXPECT_FALSE(m_out.IsLibre(0));
  m_out.Close();
  ASSERT_TRUE(Open());
  EXPECT_TRUE(m_out.IsLibre(0));
}

TEST_F(WaveOut, NothingIsWrittenAfterResetAndNothingAsksAClosedDevice) {
  ASSERT_TRUE(Open());
  m_out.Write(0, 8820);
  EXPECT_TRUE(m_out.Reset());
  EXPECT_EQ(m_wave.Queued(), 0);
  EXPECT_FALSE(m_out.Write(1, 8820));
  EXPECT_EQ(m_wave.Queued(), 0);
  EXPECT_TRUE(m_out.Close());
  EXPECT_FALSE(m_out.Close());
  EXPECT_FALSE(m_out.IsOpen());
  uint32_t dwMs = 7;
  EXPECT_FALSE(m_out.GetPosition(&dwMs));
  EXPECT_FALSE(m_out.Pause());
  EXPECT_FALSE(m_out.Restart());
  EXPECT_FALSE(m_out.Reset());
  EXPECT_FALSE(m_out.SetVolume(0.0F));
  EXPECT_FALSE(m_out.Write(0, 100));
}

/// The device's counter wraps at nBits: the position goes on, in frames and in ms.
void Enroule(test::CFakeWave& wave, CWaveOut& out, int nBits) {
  const uint64_t llTour = uint64_t{1} << nBits;
  const auto dwTourMs = static_cast<uint32_t>(static_cast<double>(llTour) / 44100 * 1000.0);
  uint64_t llEch = 0;
  uint32_t dwMs = 0;
  for (uint32_t nTour = 0; nTour < 3; ++nTour) {
    for (const uint64_t llReste : {llTour / 2 + 1, llTour - 10}) {
      wave.OffsetPosition(static_cast<uint32_t>(llReste));
      ASSERT_TRUE(out.GetPositionEch(&llEch));
      EXPECT_EQ(llEch, nTour * llTour + llReste) << nBits;
    }
    wave.OffsetPosition(44100);
    ASSERT_TRUE(out.GetPosition(&dwMs));
    EXPECT_EQ(dwMs, 1000 + (nTour + 1) * dwTourMs) << nBits;
    ASSERT_TRUE(out.GetPositionEch(&llEch));
    EXPECT_EQ(llEch, (nTour + 1) * llTour + 44100) << nBits;
  }
}

TEST_F(WaveOut, PositionRisesThroughTheWrapsOfTheCounter) {
  for (const int nBits : {27, 32}) {
    ASSERT_TRUE(Open());
    Enroule(m_wave, m_out, nBits);
    m_wave.OffsetPosition(0);
    m_out.Reset();
    m_out.Close();
  }
  // A new opening counts from 0, without the old wraps.
  ASSERT_TRUE(Open());
  uint64_t llEch = 1;
  EXPECT_TRUE(m_out.GetPositionEch(&llEch));
  EXPECT_EQ(llEch, 0U);
  m_wave.FailPosition(true);
  EXPECT_FALSE(m_out.GetPositionEch(&llEch));
}

}  // namespace
}  // namespace tonara
