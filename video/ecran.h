// The narrow interface by which a scheduled event takes the screen and gives it back. Implemented by
// the video manager; free of Qt, so that the scheduling can use it.
#pragma once

#include <cstdint>
#include <string>

namespace tonara {

/// The scrolling band, as far as events need it.
class CBande {
 public:
  virtual ~CBande() = default;
  [[nodiscard]] virtual bool IsEnable() = 0;
  virtual void Show(bool bVisible) = 0;
  /// Hidden by an event that has not given it back yet. Firing thread only.
  bool m_bSuspendu = false;
};

/// Any thread; takes its own lock; never waits for the main thread.
class CEcran {
 public:
  virtual ~CEcran() = default;
  virtual CBande& Synthe() = 0;
  /// Suspends or resumes the continuous video programme.
  virtual void SuspendProgram(bool bSuspend) = 0;
  /// Shows an image for that long; IsImageDone tells its end.
  virtual bool PlayImage(const std::string& szPath, uint32_t dwMs) = 0;
  [[nodiscard]] virtual bool IsImageDone() = 0;
  /// Plays a film at a level in dB. False if it can't be opened: the event then ends at once.
  virtual bool PlayVideo(const std::string& szPath, float fDb) = 0;
  [[nodiscard]] virtual bool IsVideoDone() = 0;
  /// Whether films can be played on this machine.
  [[nodiscard]] virtual bool HasDirect3D() = 0;
};

/// Null while video is off; every user tests for that, once per operation.
CEcran* GetEcran();
void SetEcran(CEcran* pEcran);

}  // namespace tonara
