#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "audio/preview.h"
#include "tests/unit/audio/mixoutfixture.h"

namespace tonara {
namespace {

using Preview = MixoutFixture;

TEST_F(Preview, PlaysOneFileUntilStoppedAndTellsItsEnd) {
  const MsgTarget fenetre = NewMsgTarget();
  CPreview preview;
  EXPECT_FALSE(preview.Ecouter(m_dir / "absent.wav", fenetre));
  EXPECT_FALSE(preview.IsLecture());
  // Twice without a stop between: the second takes the place of the first.
  ASSERT_TRUE(preview.Ecouter(Ton("a.wav", 441, 3000), fenetre));
  ASSERT_TRUE(preview.Ecouter(Ton("b.wav", 441, 100), fenetre));
  EXPECT_TRUE(preview.IsLecture());
  EXPECT_EQ(m_wave.Queued(), 2);
  m_wave.Play(1);
  int nFins = 0;
  for (int n = 0; n < 60000 && nFins == 0; ++n) {
    nFins = m_messages.TakeAll(kMsgPreviewFin);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_GT(nFins, 0);
  preview.Arreter();
  EXPECT_FALSE(preview.IsLecture());
  EXPECT_FALSE(m_wave.IsOpen());
}

}  // namespace
}  // namespace tonara
