// All global settings of the program, one flat object, kept in "tonara.ini" in the start directory.
// Read field by field; written on the main thread only. What other threads read while it may change is
// shared value by value (CPartage).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/partage.h"

namespace tonara {

/// The start directory, '/' behind it. Every data path of the program is built on it.
extern std::string g_szAppDir;

struct DeviceInfo {
  uint32_t dwIndex = 0;
  std::string szName;  ///< at most 31 bytes
};

/// Size of one monitor, in pixels.
struct MonitorSize {
  int nWidth = 0;
  int nHeight = 0;
};

class CAppcfg {
 public:
  CAppcfg();
  virtual ~CAppcfg() = default;

  std::string m_szIniPath;
  // "General"
  int Version = 20400;
  bool ActiverTraces = false;
  bool ActiverHistorique = false;
  // "Interface"
  int PosMain_Left = 10;
  int PosMain_Top = 10;
  int ModeVuMetres = 2;
  // "Virgules"
  std::string PathVirguleAvant;
  std::string PathVirguleEntre;
  // "Mix"
  std::string DeviceOut;
  int NbBuffers = 10;
  int TailleBuffers = 50;
  // "Ligne"
  std::string DeviceIn;
  // "Messages"
  bool MessagesActifs = true;
  bool VirguleAvant = false;
  bool VirguleEntre = false;
  CPartage<bool> EnableSyntheOnMessage = false;
  // "Musique"
  int MusicSource = 3;
  // "Levels", dB
  CPartage<float> MessageAudio = 0.0F;
  CPartage<float> MessageVideo = 0.0F;
  CPartage<float> Music = 0.0F;
  CPartage<float> AutoFade = -12.0F;
  // "Video"
  bool EnableVideo = false;
  int VideoPosX = 100;
  int VideoPosY = 100;
  int VideoLarg = 720;  ///< right edge, a coordinate
  int VideoHaut = 478;  ///< bottom edge, a coordinate
  int Monitor = 1;
  int Renderer = 0;
  bool FullScreenAtStart = false;
  CPartage<uint32_t> DureeMsgImage = 10000U;
  bool Habillage = false;
  uint32_t FondCoul = 16777215;
  bool EnableLogo = true;
  std::string PathLogo;
  int PctSizeLogo = 12;
  int PctPosXLogo = 2;
  int PctPosYLogo = 84;
  // "Synthe"
  struct SyntheCfg {
    bool Enable = true;
    std::string Path;
    int PctPosX = 8;
    int PctPosY = 87;
    int PctLarg = 90;
    int PctHaut = 6;
    int Vitesse = 7;
    bool PerfsMax = true;
    uint32_t FondCoul = 16744576;
    uint32_t TextCoul = 16777215;
    int PctAlpha = 60;
    std::string FontName = "Arial";
  } Synthe;
  // "Video" again
  int PgmVideoCourant = 1;

  /// Reads szDir + "tonara.ini", repairs devices and positions, writes the file back. An unreadable
  /// or empty file gives the defaults and is kept beside as "tonara.ini.bad". Always true. Before any other thread
  /// runs. The monitors come from SetMonitorSource.
  bool Load(const std::string& szDir);
  /// Writes every key but ActiverTraces; other keys, comments and order in the file stay. A failure is
  /// traced once per cause. Main thread; blocks on the disk.
  void Save();

  /// Where Load reads the monitors: app/ gives Qt's screens. Without one, no monitor is known and the
  /// limits of positions are 0.
  static void SetMonitorSource(std::function<std::vector<MonitorSize>()> fnMonitors);
};

extern CAppcfg g_Appcfg;

/// The listed devices now, in index order. Any thread; see CWaveBackend for the time they take.
void EnumDevicesIn(std::vector<DeviceInfo>* pList);
void EnumDevicesOut(std::vector<DeviceInfo>* pList);
/// Name of the device of that index; false for a null output or an index beyond the end.
bool GetDeviceInName(int nIndex, std::string* pName);
bool GetDeviceOutName(int nIndex, std::string* pName);
/// Index of the first device with exactly that name, or that the sound server knows by it; -1 for none.
int FindDeviceIn(const std::string& szName);
int FindDeviceOut(const std::string& szName);

}  // namespace tonara
