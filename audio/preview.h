// Plays one file through a mixer of its own: the listening button of the rule editor.
#pragma once

#include <string>

#include "audio/mixout.h"
#include "platform/messages.h"

namespace tonara {

/// Number of the message posted at the end of the file.
inline constexpr uint32_t kMsgPreviewFin = 1025;

/// Main thread. Ecouter opens the file and the device, so it may block as CMixout::PlayFichier does.
class CPreview {
 public:
  CPreview() = default;
  virtual ~CPreview() = default;

  /// Plays the file, once, on the output of the settings. At its end kMsgPreviewFin is posted to hWnd
  /// (wParam the tranche) until Arreter. False if it can't be played.
  bool Ecouter(const std::string& szPath, MsgTarget hWnd);
  void Arreter();
  [[nodiscard]] bool IsLecture() const { return m_bLecture; }

 private:
  CMixout m_Mixout;
  bool m_bLecture = false;
};

extern CPreview g_Preview;

}  // namespace tonara
