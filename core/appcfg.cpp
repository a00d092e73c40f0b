#include "core/appcfg.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <utility>

#include "core/log.h"
#include "platform/fileio.h"
#include "platform/profile.h"
#include "platform/textcodec.h"
#include "platform/wavedevice.h"

namespace tonara {

std::string g_szAppDir;
CAppcfg g_Appcfg;

namespace {

constexpr int kFileVersion = 20400;
constexpr size_t kTextMax = 127;       // device and font names
constexpr size_t kDeviceNameMax = 31;  // as the system gives it
constexpr size_t kRealTextMax = 80;
constexpr int kMaxBadFiles = 9;
constexpr const char* kSaveFailure = "tonara.ini";

std::function<std::vector<MonitorSize>()>& MonitorSource() {
  static std::function<std::vector<MonitorSize>()> fnMonitors;
  return fnMonitors;
}

/// Shows every key of the file to a visitor, in the order of the sections of a new file, with the field
/// of c. The one list of keys: reading and writing both walk it.
template <class Config, class Visitor>
void VisitKeys(Config& c, Visitor& v) {
  v.Version("General", "Version", c.Version);
  v.ReadOnly("General", "ActiverTraces", c.ActiverTraces);
  v.Key("General", "ActiverHistorique", c.ActiverHistorique);
  v.Key("Interface", "PosMain_Left", c.PosMain_Left);
  v.Key("Interface", "PosMain_Top", c.PosMain_Top);
  v.Key("Interface", "ModeVuMetres", c.ModeVuMetres);
  v.Path("Virgules", "PathVirguleAvant", c.PathVirguleAvant);
  v.Path("Virgules", "PathVirguleEntre", c.PathVirguleEntre);
  v.DeviceOut("Mix", "DeviceOut", c.DeviceOut);
  v.Key("Mix", "NbBuffers", c.NbBuffers);
  v.Key("Mix", "TailleBuffers", c.TailleBuffers);
  v.DeviceIn("Ligne", "DeviceIn", c.DeviceIn);
  v.Key("Messages", "MessagesActifs", c.MessagesActifs);
  v.Key("Messages", "VirguleAvant", c.VirguleAvant);
  v.Key("Messages", "VirguleEntre", c.VirguleEntre);
  v.Key("Messages", "EnableSyntheOnMessage", c.EnableSyntheOnMessage);
  v.Key("Musique", "MusicSource", c.MusicSource);
  v.Key("Levels", "MessageAudio", c.MessageAudio);
  v.Key("Levels", "MessageVideo", c.MessageVideo);
  v.Key("Levels", "Music", c.Music);
  v.Key("Levels", "AutoFade", c.AutoFade);
  v.Key("Video", "EnableVideo", c.EnableVideo);
  v.Key("Video", "VideoPosX", c.VideoPosX);
  v.Key("Video", "VideoPosY", c.VideoPosY);
  v.Key("Video", "VideoLarg", c.VideoLarg);
  v.Key("Video", "VideoHaut", c.VideoHaut);
  v.Key("Video", "Monitor", c.Monitor);
  v.Key("Video", "Renderer", c.Renderer);
  v.Key("Video", "FullScreenAtStart", c.FullScreenAtStart);
  v.Key("Video", "DureeMsgImage", c.DureeMsgImage);
  v.Key("Video", "Habillage", c.Habillage);
  v.Key("Video", "FondCoul", c.FondCoul);
  v.Key("Video", "EnableLogo", c.EnableLogo);
  v.Path("Video", "PathLogo", c.PathLogo);
  v.Key("Video", "PctSizeLogo", c.PctSizeLogo);
  v.Key("Video", "PctPosXLogo", c.PctPosXLogo);
  v.Key("Video", "PctPosYLogo", c.PctPosYLogo);
  v.Key("Video", "PgmVideoCourant", c.PgmVideoCourant);
  v.Key("Synthe", "Enable", c.Synthe.Enable);
  v.Path("Synthe", "Path", c.Synthe.Path);
  v.Key("Synthe", "PctPosX", c.Synthe.PctPosX);
  v.Key("Synthe", "PctPosY", c.Synthe.PctPosY);
  v.Key("Synthe", "PctLarg", c.Synthe.PctLarg);
  v.Key("Synthe", "PctHaut", c.Synthe.PctHaut);
  v.Key("Synthe", "Vitesse", c.Synthe.Vitesse);
  v.Key("Synthe", "PerfsMax", c.Synthe.PerfsMax);
  v.Key("Synthe", "FondCoul", c.Synthe.FondCoul);
  v.Key("Synthe", "TextCoul", c.Synthe.TextCoul);
  v.Key("Synthe", "PctAlpha", c.Synthe.PctAlpha);
  v.Text("Synthe", "FontName", c.Synthe.FontName);
}

/// The number that the text begins with; nothing without one, or if it isn't finite. The decimal sign is
/// the point in whatever locale.
std::optional<float> ParseReal(std::string_view text) {
  text = text.substr(0, kRealTextMax);
  while (text.starts_with(' ') || text.starts_with('\t')) text.remove_prefix(1);
  if (text.starts_with('+')) text.remove_prefix(1);
  float f = 0.0F;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), f);
  if (result.ec != std::errc{} || !std::isfinite(f)) return std::nullopt;
  return f;
}

std::string SpellReal(float f) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, f, std::chars_format::fixed, 1);
  return {buffer, result.ptr};
}

void FallBackOnFirst(std::string* pDevice, int (*fnFind)(const std::string&), bool (*fnName)(int, std::string*),
                     const char* szWhat) {
  std::string szFirst;
  if (fnFind(*pDevice) >= 0 || !fnName(0, &szFirst)) return;
  if (!pDevice->empty()) {
    Trace(1, "%s \"%s\" absente, remplacée par \"%s\"\n", szWhat, pDevice->c_str(), szFirst.c_str());
  }
  *pDevice = szFirst;
}

/// Fills the fields; each holds its default beforehand.
class CReader {
 public:
  explicit CReader(const CProfile& profile) : m_profile(profile) {}
  void Version(const char* szSection, const char* szKey, int& n) { Key(szSection, szKey, n); }
  void ReadOnly(const char* szSection, const char* szKey, bool& b) { Key(szSection, szKey, b); }
  void Key(const char* szSection, const char* szKey, int& n) { n = m_profile.GetInt(szSection, szKey, n); }
  void Key(const char* szSection, const char* szKey, uint32_t& n) { n = m_profile.GetUInt(szSection, szKey, n); }
  void Key(const char* szSection, const char* szKey, bool& b) {
    b = m_profile.GetInt(szSection, szKey, b ? 1 : 0) != 0;
  }
  void Key(const char* szSection, const char* szKey, float& f) {
    f = ParseReal(m_profile.GetString(szSection, szKey)).value_or(f);
  }
  template <class T>
  void Key(const char* szSection, const char* szKey, CPartage<T>& shared) {
    T v = shared;
    Key(szSection, szKey, v);
    shared = v;
  }
  void Path(const char* szSection, const char* szKey, std::string& sz) {
    sz = m_profile.GetString(szSection, szKey, sz);
  }
  void Text(const char* szSection, const char* szKey, std::string& sz) {
    sz = CutUtf8(m_profile.GetString(szSection, szKey, sz), kTextMax);
  }
  // The lists of devices are asked for right here, so that a name that is gone never gets any further.
  void DeviceOut(const char* szSection, const char* szKey, std::string& sz) {
    Text(szSection, szKey, sz);
    FallBackOnFirst(&sz, FindDeviceOut, GetDeviceOutName, "Sortie audio");
  }
  void DeviceIn(const char* szSection, const char* szKey, std::string& sz) {
    Text(szSection, szKey, sz);
    FallBackOnFirst(&sz, FindDeviceIn, GetDeviceInName, "Entrée audio");
  }

 private:
  const CProfile& m_profile;
};

class CWriter {
 public:
  explicit CWriter(CProfile& profile) : m_profile(profile) {}
  void Version(const char* szSection, const char* szKey, int) { m_profile.SetInt(szSection, szKey, kFileVersion); }
  void ReadOnly(const char*, const char*, bool) {}
  void Key(const char* szSection, const char* szKey, int n) { m_profile.SetInt(szSection, szKey, n); }
  void Key(const char* szSection, const char* szKey, uint32_t n) { m_profile.SetInt(szSection, szKey, n); }
  void Key(const char* szSection, const char* szKey, bool b) { m_profile.SetInt(szSection, szKey, b ? 1 : 0); }
  void Key(const char* szSection, const char* szKey, float f) { m_profile.SetString(szSection, szKey, SpellReal(f)); }
  template <class T>
  void Key(const char* szSection, const char* szKey, const CPartage<T>& shared) {
    Key(szSection, szKey, static_cast<T>(shared));
  }
  void Path(const char* szSection, const char* szKey, const std::string& sz) {
    m_profile.SetString(szSection, szKey, sz);
  }
  void Text(const char* szSection, const char* szKey, const std::string& sz) {
    m_profile.SetString(szSection, szKey, CutUtf8(sz, kTextMax));
  }
  void DeviceOut(const char* szSection, const char* szKey, const std::string& sz) { Text(szSection, szKey, sz); }
  void DeviceIn(const char* szSection, const char* szKey, const std::string& sz) { Text(szSection, szKey, sz); }

 private:
  CProfile& m_profile;
};

enum class FileState { Good, Absent, Bad, NotAFile };

/// Reads the settings file. Bad: there is a file, but it can't be read, is empty, or is no profile.
FileState ReadFile(const std::string& szPath, CProfile* pProfile) {
  struct stat st {};
  if (stat(szPath.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) return FileState::NotAFile;
  bool bPresent = false;
  if (!pProfile->Load(szPath, &bPresent)) return bPresent ? FileState::Bad : FileState::Absent;
  const bool bNoProfile = pProfile->HasNoSection() && pProfile->HasStrayLines();
  return bNoProfile || st.st_size == 0 ? FileState::Bad : FileState::Good;
}

/// Puts a bad file out of the way, under a name that holds nothing else yet: it may be all that is left
/// of the shop's settings. False if it still stands where it stood.
bool KeepBadFile(const std::string& szPath) {
  const std::optional<std::string> bytes = ReadWholeFile(szPath);
  for (int i = 1; i <= kMaxBadFiles; ++i) {
    const std::string szBad = szPath + (i == 1 ? ".bad" : ".bad" + std::to_string(i));
    struct stat st {};
    const bool bTaken = lstat(szBad.c_str(), &st) == 0;
    // An empty file, or one that is kept already, needs no second copy.
    const bool bKept = bTaken && bytes && (bytes->empty() || ReadWholeFile(szBad) == bytes);
    if (bTaken && !bKept && i < kMaxBadFiles) continue;
    if ((bKept ? std::remove(szPath.c_str()) : std::rename(szPath.c_str(), szBad.c_str())) != 0) return false;
    Trace(1, "%s : illisible, conservé sous %s\n", szPath.c_str(), szBad.c_str());
    return true;
  }
  return false;
}

void TraceSaveFailure(const std::string& szPath, const std::string& szCause) {
  TraceOnce(kSaveFailure + szCause, szPath + " : écriture impossible (" + szCause + ")");
}

using NameList = std::pair<uint32_t, bool (*)(uint32_t, std::string*)>;

NameList Outputs() {
  return {WaveBackend().OutCount(), [](uint32_t i, std::string* p) { return WaveBackend().OutName(i, p); }};
}
NameList Inputs() {
  return {WaveBackend().InCount(), [](uint32_t i, std::string* p) { return WaveBackend().InName(i, p); }};
}

bool NameAt(const NameList& list, uint32_t nIndex, std::string* pName) {
  std::string szName;
  if (!list.second(nIndex, &szName)) return false;
  *pName = CutUtf8(szName, kDeviceNameMax);
  return true;
}

void Enumerate(const NameList& list, std::vector<DeviceInfo>* pList) {
  pList->clear();
  for (uint32_t i = 0; i < list.first; ++i) {
    DeviceInfo info{i, {}};
    if (NameAt(list, i, &info.szName)) pList->push_back(std::move(info));
  }
}

bool GetName(const NameList& list, int nIndex, std::string* pName) {
  return nIndex >= 0 && static_cast<uint32_t>(nIndex) < list.first &&
         NameAt(list, static_cast<uint32_t>(nIndex), pName);
}

}  // namespace

CAppcfg::CAppcfg() = default;

bool CAppcfg::Load(const std::string& szDir) {
  const std::string& szBase = g_szAppDir.empty() ? szDir : g_szAppDir;
  *this = CAppcfg{};
  m_szIniPath = szDir + "tonara.ini";
  PathVirguleAvant = szBase + "Habillages/3 tons.mp3";
  PathVirguleEntre = PathVirguleAvant;
  PathLogo = szBase + "Demo/tonara.png";
  Synthe.Path = szBase + "Demo";

  CProfile profile;
  const FileState eState = ReadFile(m_szIniPath, &profile);
  if (eState == FileState::Bad) {
    KeepBadFile(m_szIniPath);
    profile = CProfile{};
  }
  CReader reader(profile);
  VisitKeys(*this, reader);

  int nWidths = 0;
  int nHeight = 0;
  if (MonitorSource()) {
    const std::vector<MonitorSize> monitors = MonitorSource()();
    for (const MonitorSize& monitor : monitors) {
      nWidths += monitor.nWidth;
      nHeight = &monitor == &monitors.front() ? monitor.nHeight : std::min(nHeight, monitor.nHeight);
    }
  }
  if (PosMain_Left < 0 || PosMain_Left > nWidths) PosMain_Left = 10;
  if (PosMain_Top < 0 || PosMain_Top > nHeight) PosMain_Top = 10;
  if (VideoPosX < 0 || VideoPosX > nWidths) {
    VideoPosX = 100;
    VideoLarg = 720;
  }
  if (VideoPosY < 0 || VideoPosY > nHeight) {
    VideoPosY = 100;
    VideoHaut = 478;
  }
  Save();
  return true;
}

void CAppcfg::Save() {
  if (m_szIniPath.empty()) return;
  // The file is read again each time: other modules keep their sections in it, and hands edit it.
  CProfile profile;
  const FileState eState = ReadFile(m_szIniPath, &profile);
  if (eState == FileState::NotAFile) {
    TraceSaveFailure(m_szIniPath, "ce n'est pas un fichier");
    return;
  }
  if (eState == FileState::Bad) {
    if (!KeepBadFile(m_szIniPath)) {
      TraceSaveFailure(m_szIniPath, "le fichier illisible ne peut pas être conservé");
      return;
    }
    profile = CProfile{};
  }
  CWriter writer(profile);
  VisitKeys(*this, writer);
  static std::string s_szLastCause;
  std::string szCause;
  if (profile.Save(m_szIniPath, &szCause)) {
    if (!s_szLastCause.empty()) TraceOnceClear(kSaveFailure + s_szLastCause);
    s_szLastCause.clear();
  } else {
    TraceSaveFailure(m_szIniPath, szCause);
    s_szLastCause = szCause;
  }
}

void CAppcfg::SetMonitorSource(std::function<std::vector<MonitorSize>()> fnMonitors) {
  MonitorSource() = std::move(fnMonitors);
}

void EnumDevicesIn(std::vector<DeviceInfo>* pList) {
  if (pList != nullptr) Enumerate(Inputs(), pList);
}
void EnumDevicesOut(std::vector<DeviceInfo>* pList) {
  if (pList != nullptr) Enumerate(Outputs(), pList);
}
bool GetDeviceInName(int nIndex, std::string* pName) {
  return pName != nullptr && GetName(Inputs(), nIndex, pName);
}
bool GetDeviceOutName(int nIndex, std::string* pName) {
  return pName != nullptr && GetName(Outputs(), nIndex, pName);
}
int FindDeviceIn(const std::string& szName) {
  return WaveBackend().FindIn(szName);
}
int FindDeviceOut(const std::string& szName) {
  return WaveBackend().FindOut(szName);
}

}  // namespace tonara
