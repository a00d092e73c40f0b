// A screen that keeps what events did to it and says that a picture is done when a test wants it. Needs
// tonara::video.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "video/ecran.h"

namespace tonara::test {

class CFakeBande final : public CBande {
 public:
  bool IsEnable() override { return m_bEnable; }
  void Show(bool bVisible) override { m_bVisible = bVisible; }
  bool m_bEnable = true;
  bool m_bVisible = true;
};

/// Is the process's screen for its lifetime.
class CFakeScreen : public CEcran {
 public:
  CFakeScreen() { SetEcran(this); }
  ~CFakeScreen() override { SetEcran(nullptr); }
  CFakeScreen(const CFakeScreen&) = delete;
  CFakeScreen& operator=(const CFakeScreen&) = delete;

  CBande& Synthe() override { return m_bande; }
  void SuspendProgram(bool bSuspend) override { m_bSuspendu = bSuspend; }
  bool PlayImage(const std::string& szPath, uint32_t dwMs) override {
    m_joues.push_back("image " + szPath + " " + std::to_string(dwMs));
    m_bDone = false;
    return true;
  }
  bool IsImageDone() override { return m_bDone; }
  bool PlayVideo(const std::string& szPath, float fDb) override {
    m_joues.push_back("film " + szPath + " " + std::to_string(static_cast<int>(fDb)));
    m_bDone = false;
    return m_bFilmsOuvrent;
  }
  bool IsVideoDone() override { return m_bDone; }
  bool HasDirect3D() override { return m_bDirect3D; }

  CFakeBande m_bande;
  std::vector<std::string> m_joues;
  bool m_bSuspendu = false;
  bool m_bDone = true;
  bool m_bFilmsOuvrent = true;
  bool m_bDirect3D = true;
};

}  // namespace tonara::test
