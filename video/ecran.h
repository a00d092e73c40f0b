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

/// Null while video is off; every user tests for that, once per operation. Main thread: the pointer
/// lives until the main thread itself calls SetEcran. Other threads use CEcranPris.
CEcran* GetEcran();
/// Returns only when no CEcranPris holds the old screen any more, so that it may be destroyed then.
/// Main thread, without any lock that an operation of the screen takes.
void SetEcran(CEcran* pEcran);

/// The present screen for a scope, safe from its destruction meanwhile. Not nested in one thread; keep
/// the scope to a few calls. Any thread.
class CEcranPris {
 public:
  CEcranPris();
  ~CEcranPris();
  CEcranPris(const CEcranPris&) = delete;
  CEcranPris& operator=(const CEcranPris&) = delete;

  [[nodiscard]] explicit operator bool() const { return m_pEcran != nullptr; }
  CEcran* operator->() const { return m_pEcran; }

 private:
  CEcran* m_pEcran;
};

}  // namespace tonara
