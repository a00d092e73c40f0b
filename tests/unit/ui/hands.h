// Simulated hands for tests of windows: find a control by the name a screen reader knows, answer a modal
// dialog from within its loop, wait for what comes from other threads.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace tonara::test {

/// Serves events until the condition holds; false if it doesn't within 10 s.
inline bool Attend(const std::function<bool()>& fnVrai) {
  return QTest::qWaitFor(fnVrai, 10000);
}

/// The control of that accessible name.
template <class T>
T* Controle(QWidget* pFenetre, const char* szNom) {
  for (T* pControle : pFenetre->findChildren<T*>()) {
    if (pControle->accessibleName() == QString::fromUtf8(szNom)) return pControle;
  }
  ADD_FAILURE() << "no control " << szNom;
  return nullptr;
}

/// The button or check box with that caption, mnemonics aside.
template <class T = QPushButton>
T* Bouton(QWidget* pFenetre, const char* szTexte) {
  for (T* pBouton : pFenetre->findChildren<T*>()) {
    if (pBouton->text().remove(QLatin1Char('&')) == QString::fromUtf8(szTexte)) return pBouton;
  }
  ADD_FAILURE() << "no button " << szTexte;
  return nullptr;
}

/// Replaces what a field holds, key by key.
inline void Tape(QWidget* pChamp, const char* szTexte) {
  pChamp->setFocus();
  QTest::keyClick(pChamp, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(pChamp, Qt::Key_Delete);
  QTest::keyClicks(pChamp, QString::fromUtf8(szTexte));
}

/// Waits, inside whatever loop runs next, for a modal dialog of that class and hands it to fnAgit, which
/// is to end it. Fails, and closes what is open, if none comes within 10 s.
template <class T>
class CReponse {
 public:
  explicit CReponse(std::function<void(T*)> fnAgit) : m_fnAgit(std::move(fnAgit)) {
    m_timer.callOnTimeout([this] {
      if (auto* pDialogue = dynamic_cast<T*>(QApplication::activeModalWidget())) {
        m_timer.stop();
        m_bVenu = true;
        m_fnAgit(pDialogue);
      } else if (++m_nTours > 2000) {
        m_timer.stop();
        ADD_FAILURE() << "no such dialog came";
        if (QWidget* pAutre = QApplication::activeModalWidget()) pAutre->close();
      }
    });
    m_timer.start(5);
  }
  ~CReponse() { EXPECT_TRUE(m_bVenu); }
  CReponse(const CReponse&) = delete;
  CReponse& operator=(const CReponse&) = delete;

 private:
  std::function<void(T*)> m_fnAgit;
  QTimer m_timer;
  int m_nTours = 0;
  bool m_bVenu = false;
};

/// A disk that doesn't answer: holds threads until it is opened. Shared with them, for they outlive a test.
class CBarriere {
 public:
  void Passe() {
    std::unique_lock lock(m_mutex);
    ++m_nEnAttente;
    m_cv.wait(lock, [this] { return m_bOuverte; });
  }
  void Ouvre() {
    const std::lock_guard lock(m_mutex);
    m_bOuverte = true;
    m_cv.notify_all();
  }
  /// How many have come to it so far.
  int EnAttente() {
    const std::lock_guard lock(m_mutex);
    return m_nEnAttente;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_cv;
  int m_nEnAttente = 0;
  bool m_bOuverte = false;
};

}  // namespace tonara::test
