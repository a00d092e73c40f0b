#include "app/qtmessagesink.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>
#include <memory>
#include <thread>
#include <vector>

namespace tonara::test {
namespace {

using Recu = std::tuple<uint32_t, uintptr_t, intptr_t>;

void Pompe() {
  QCoreApplication::sendPostedEvents();
}

TEST(QtMessageSink, DeliversInOrderOnTheMainThread) {
  CQtMessageSink sink;
  const MsgTarget cible = NewMsgTarget();
  std::vector<Recu> recus;
  QThread* pThread = nullptr;
  sink.Connecte(cible, [&](uint32_t uMsg, uintptr_t wParam, intptr_t lParam) {
    recus.emplace_back(uMsg, wParam, lParam);
    pThread = QThread::currentThread();
  });
  std::thread([&] {
    EXPECT_TRUE(PostMsg(cible, 1028, 1, 0));
    EXPECT_TRUE(PostMsg(cible, 1027, 0, 0));
    EXPECT_TRUE(PostMsg(cible, 1026, 3, -1));
  }).join();
  EXPECT_TRUE(recus.empty());
  Pompe();
  EXPECT_EQ(recus, (std::vector<Recu>{{1028, 1, 0}, {1027, 0, 0}, {1026, 3, -1}}));
  EXPECT_EQ(pThread, QThread::currentThread());
}

TEST(QtMessageSink, MessageToATargetThatHasGoneIsLost) {
  auto pSink = std::make_unique<CQtMessageSink>();
  const MsgTarget cible = NewMsgTarget();
  int nRecus = 0;
  pSink->Connecte(cible, [&](uint32_t, uintptr_t, intptr_t) { ++nRecus; });
  EXPECT_TRUE(PostMsg(cible, 1029, 0, 0));
  pSink->Deconnecte(cible);
  Pompe();
  EXPECT_EQ(nRecus, 0);
  EXPECT_FALSE(PostMsg(cible, 1029, 0, 0));
  // The sink itself may go with messages under way.
  pSink->Connecte(cible, [&](uint32_t, uintptr_t, intptr_t) { ++nRecus; });
  EXPECT_TRUE(PostMsg(cible, 1029, 0, 0));
  pSink.reset();
  Pompe();
  EXPECT_FALSE(PostMsg(cible, 1029, 0, 0));
  EXPECT_EQ(nRecus, 0);
}

TEST(QtMessageSink, HeldUpMainThreadFindsEachMessageOnce) {
  CQtMessageSink sink;
  const MsgTarget cible = NewMsgTarget();
  std::vector<uint32_t> recus;
  sink.Connecte(cible, [&](uint32_t uMsg, uintptr_t, intptr_t) {
    recus.push_back(uMsg);
    // What a receiver posts is a message of its own, even if it equals the one being delivered.
    if (uMsg == 1028 && recus.size() < 3) {
      EXPECT_TRUE(PostMsg(cible, 1028, 0, 0));
    }
  });
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 20000; ++n) PostMsg(cible, 1027, 0, 0);
    });
  }
  for (std::thread& thread : threads) thread.join();
  PostMsg(cible, 1028, 0, 0);
  Pompe();
  Pompe();  // what was posted while pumping
  EXPECT_EQ(recus, (std::vector<uint32_t>{1027, 1028, 1028}));
}

}  // namespace
}  // namespace tonara::test
