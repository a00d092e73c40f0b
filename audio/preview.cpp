#include "audio/preview.h"

#include "core/appcfg.h"

namespace tonara {

CPreview g_Preview;

bool CPreview::Ecouter(const std::string& szPath, MsgTarget hWnd) {
  Arreter();
  m_Mixout.Start(FindDeviceOut(g_Appcfg.DeviceOut), g_Appcfg.NbBuffers, g_Appcfg.TailleBuffers, 0);
  m_bLecture = m_Mixout.PlayFichier(szPath, kPlayMixe, 0, 0, 0, 0, 0.0F, false, hWnd, kMsgPreviewFin, nullptr) != 0;
  return m_bLecture;
}

void CPreview::Arreter() {
  m_Mixout.StopAll();
  m_Mixout.Stop();
  m_bLecture = false;
}

}  // namespace tonara
