#include "audio/waveout.h"

#include <gtest/gtest.h>

#include "tests/support/fakewave.h"

namespace tonara {
namespace {

const PCMWAVEFORMAT kFormat = MakePcmFormat(44100, 2, 16);

class WaveOut : public testing::Test {
 protected:
  bool Open() { return m_out.Open(0, kFormat, 4, 50, &m_event); }

  test::CFakeWave m_wave;
  CAutoEvent m_event;
  CWaveOut m_out;
};

TEST_F(WaveOut, OpensInTheFormThatTheDeviceKnowsOrLeavesNothing) {
  for (const auto& [dwNbBuffers, iMs] : {std::pair(0U, 50), {4U, -50}, {4000000000U, 50}})
    EXPECT_FALSE(m_out.Open(3, kFormat, dwNbBuffers, iMs, &m_event));
  m_wave.RefuseAll(true);
  EXPECT_FALSE(Open());
  EXPECT_EQ(m_out.NbBuffers(), 0);
  m_wave.RefuseAll(false);
  m_wave.RefuseExtensible(true);
  EXPECT_TRUE(Open());
  EXPECT_EQ(m_out.NbBuffers(), 4);
}

TEST_F(WaveOut, FailedWritesAndAResetLeaveNothingInTheQueue) {
  ASSERT_TRUE(Open());
  m_wave.FailWrites(true);
  EXPECT_FALSE(m_out.Write(0, 8820));
  m_wave.FailWrites(false);
  EXPECT_EQ(m_out.NbEnQueue(), 0);
  m_out.Reap();
  EXPECT_FALSE(m_out.IsLibre(0)) << "out of the rotation";
  EXPECT_TRUE(m_out.Write(1, 8820));
  EXPECT_TRUE(m_out.Reset());
  EXPECT_FALSE(m_out.Write(2, 8820));
  EXPECT_EQ(m_wave.Queued(), 0);
  EXPECT_TRUE(m_out.Close());
  ASSERT_TRUE(Open());
  EXPECT_TRUE(m_out.IsLibre(0));
}

// The device's counter wraps at that many bits: the position goes on, in frames and in ms.
TEST_F(WaveOut, PositionRisesThroughTheWrapsOfTheCounter) {
  uint64_t llEch = 1;
  uint32_t dwMs = 0;
  for (const int nBits : {27, 32}) {
    const uint64_t llTour = uint64_t{1} << nBits;
    const auto dwTourMs = static_cast<uint32_t>(static_cast<double>(llTour) / 44100 * 1000.0);
    ASSERT_TRUE(Open());
    for (uint32_t nTour = 0; nTour < 3; ++nTour) {
      for (const uint64_t llReste : {llTour / 2 + 1, llTour - 10}) {
        m_wave.OffsetPosition(static_cast<uint32_t>(llReste));
        ASSERT_TRUE(m_out.GetPositionEch(&llEch));
        EXPECT_EQ(llEch, nTour * llTour + llReste) << nBits;
      }
      m_wave.OffsetPosition(44100);
      ASSERT_TRUE(m_out.GetPosition(&dwMs));
      EXPECT_EQ(dwMs, 1000 + (nTour + 1) * dwTourMs) << nBits;
      ASSERT_TRUE(m_out.GetPositionEch(&llEch));
      EXPECT_EQ(llEch, (nTour + 1) * llTour + 44100) << nBits;
    }
    m_wave.OffsetPosition(0);
    m_out.Reset();
    EXPECT_TRUE(m_out.GetPositionEch(&llEch));
    EXPECT_EQ(llEch, 0U) << "counting from 0 again is no wrap";
    m_out.Close();
  }
  ASSERT_TRUE(Open());
  EXPECT_TRUE(m_out.GetPositionEch(&llEch));
  EXPECT_EQ(llEch, 0U) << "a new opening knows nothing of old wraps";
  m_wave.FailPosition(true);
  EXPECT_FALSE(m_out.GetPositionEch(&llEch));
}

}  // namespace
}  // namespace tonara
