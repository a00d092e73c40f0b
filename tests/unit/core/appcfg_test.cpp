#include "core/appcfg.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "core/log.h"
#include "platform/profile.h"
#include "tests/support/fakewave.h"
#include "tests/support/tempdir.h"
#include "tests/unit/core/commalocale.h"

namespace tonara {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

// What a first start writes, with the start directory in place of the %.
constexpr const char* kFirstFile =
    "[General]\nVersion=20400\nActiverHistorique=0\n\n"
    "[Interface]\nPosMain_Left=10\nPosMain_Top=10\nModeVuMetres=2\n\n"
    "[Virgules]\nPathVirguleAvant=%Habillages/3 tons.mp3\nPathVirguleEntre=%Habillages/3 tons.mp3\n\n"
    "[Mix]\nDeviceOut=Carte A\nNbBuffers=10\nTailleBuffers=50\n\n"
    "[Ligne]\nDeviceIn=Ligne A\n\n"
    "[Messages]\nMessagesActifs=1\nVirguleAvant=0\nVirguleEntre=0\nEnableSyntheOnMessage=0\n\n"
    "[Musique]\nMusicSource=3\n\n"
    "[Levels]\nMessageAudio=0.0\nMessageVideo=0.0\nMusic=0.0\nAutoFade=-12.0\n\n"
    "[Video]\nEnableVideo=0\nVideoPosX=100\nVideoPosY=100\nVideoLarg=720\nVideoHaut=478\nMonitor=1\nRenderer=0\n"
    "FullScreenAtStart=0\nDureeMsgImage=10000\nHabillage=0\nFondCoul=16777215\nEnableLogo=1\n"
    "PathLogo=%Demo/tonara.png\nPctSizeLogo=12\nPctPosXLogo=2\nPctPosYLogo=84\nPgmVideoCourant=1\n\n"
    "[Synthe]\nEnable=1\nPath=%Demo\nPctPosX=8\nPctPosY=87\nPctLarg=90\nPctHaut=6\nVitesse=7\nPerfsMax=1\n"
    "FondCoul=16744576\nTextCoul=16777215\nPctAlpha=60\nFontName=Arial\n";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

class Appcfg : public testing::Test {
 protected:
  void SetUp() override {
    g_szAppDir = m_dir.Dir();
    CAppcfg::SetMonitorSource([] { return std::vector<MonitorSize>{{1920, 1080}, {1280, 1024}}; });
    LogSetFile(m_dir.Dir(), "tonara.log", true);
    LogOpen();
  }
  void TearDown() override {
    LogClose();
    CAppcfg::SetMonitorSource({});
    g_szAppDir.clear();
  }
  [[nodiscard]] std::string FirstFile() const { return Replace(kFirstFile, "%", m_dir.Dir()); }
  [[nodiscard]] std::string Ini() const { return m_dir.Read("tonara.ini"); }
  [[nodiscard]] int LogLinesWith(const std::string& szText) const {
    std::istringstream log(m_dir.Read("tonara.log"));
    int n = 0;
    for (std::string line; std::getline(log, line);) n += line.find(szText) != std::string::npos ? 1 : 0;
    return n;
  }

  test::CTempDir m_dir;
  test::CFakeWave m_wave{{"Carte A", "Carte B"}, {"Ligne A"}};
  CAppcfg m_cfg;
};

TEST_F(Appcfg, FirstStartWritesAllDefaults) {
  EXPECT_TRUE(m_cfg.Load(m_dir.Dir()));
  EXPECT_EQ(Ini(), FirstFile());
  CAppcfg again;
  again.Load(m_dir.Dir());
  EXPECT_EQ(Ini(), FirstFile());
  // What is edited by hand meanwhile survives the next save.
  const std::string edited = Replace(FirstFile(), "[General]\n", "[General]\nActiverTraces=1\n");
  m_dir.Write("tonara.ini", edited);
  m_cfg.Save();
  EXPECT_EQ(Ini(), edited);
}

TEST_F(Appcfg, EveryKeyMakesTheRoundTrip) {
  // Each value differs from its default, and each number and text from all others, so that no two keys
  // can be mixed up. Line ends, comments and what isn't ours must stay.
  std::string other;
  int n = 0;
  for (std::string line; const char c : FirstFile()) {
    if (c != '\n') {
      line += c;
      continue;
    }
    const std::string key = line.substr(0, line.find('=') + 1);
    if (key.empty() || key == "Version=" || key.starts_with("Device")) {
      other += line;
    } else if (line == key + "0" || line == key + "1") {
      other += key + (line.ends_with('0') ? "1" : "0");
    } else if (line.find(".0") != std::string::npos) {
      other += key + "-" + std::to_string(++n) + ".5";
    } else if (line.find('/') != std::string::npos || key == "FontName=" || key == "Path=") {
      other += key + "/é/" + std::to_string(++n);
    } else {
      other += key + std::to_string(200 + ++n);
    }
    other += "\r\n";
    line.clear();
  }
  other =
      Replace(other, "[General]\r\n", "; settings of the shop\r\n[General]\r\nActiverTraces=1\r\nUnknown = kept\r\n");
  other += "[AudioPlaylist]\r\nPath=/a\r\n";
  m_dir.Write("tonara.ini", other);
  m_cfg.Load(m_dir.Dir());
  EXPECT_EQ(Ini(), other) << "what was read is what is written";
  EXPECT_TRUE(m_cfg.ActiverTraces);

  // And each field has a key of its own: defaults written over it give the first file again.
  CAppcfg defaults;
  fs::create_directory(m_dir / "x");
  defaults.Load(m_dir / "x/");
  defaults.m_szIniPath = m_cfg.m_szIniPath;
  defaults.Save();
  std::string expected = Replace(FirstFile(), "\n", "\r\n");
  expected = Replace(expected, "[General]\r\n",
                     "; settings of the shop\r\n[General]\r\nActiverTraces=1\r\nUnknown = kept\r\n");
  EXPECT_EQ(Ini(), expected + "[AudioPlaylist]\r\nPath=/a\r\n");
}

TEST_F(Appcfg, ReadsValuesLeniently) {
  m_dir.Write("tonara.ini",
              "[levels]\nMessageAudio=-6.5\nmessagevideo= -6.55 dB\nMusic=nan\nAutoFade=quiet\n"
              "[Messages]\nMessagesActifs=7\n[Video]\nDureeMsgImage=4294967295\n[Synthe]\nFontName="s +
                  std::string(126, 'x') + "éé\nPath=" + std::string(400, 'p') + "\n");
  m_cfg.Load(m_dir.Dir());
  EXPECT_FLOAT_EQ(m_cfg.MessageAudio, -6.5F);
  EXPECT_FLOAT_EQ(m_cfg.MessageVideo, -6.55F);
  EXPECT_FLOAT_EQ(m_cfg.Music, 0.0F);
  EXPECT_FLOAT_EQ(m_cfg.AutoFade, -12.0F);
  EXPECT_EQ(m_cfg.DureeMsgImage, 4294967295U);
  EXPECT_EQ(m_cfg.Synthe.FontName, std::string(126, 'x')) << "cut before the character that doesn't fit";
  EXPECT_EQ(m_cfg.Synthe.Path, std::string(400, 'p')) << "a path is never cut";
  CProfile ini;
  ini.Load(m_cfg.m_szIniPath);
  EXPECT_EQ(ini.GetString("Levels", "MessageVideo"), "-6.6");
  EXPECT_EQ(ini.GetString("Messages", "MessagesActifs"), "1");
}

TEST_F(Appcfg, NumbersKeepTheirPointInAnyLocale) {
  const test::CCommaLocale locale(m_dir.Dir());
  if (!locale.IsSet()) GTEST_SKIP() << "no locale with a comma to be had here";
  m_dir.Write("tonara.ini", "[Levels]\nMessageAudio=-6.5\n");
  m_cfg.Load(m_dir.Dir());
  EXPECT_FLOAT_EQ(m_cfg.MessageAudio, -6.5F);
  EXPECT_EQ(Ini().substr(0, 31), "[Levels]\nMessageAudio=-6.5\nMess");
  Trace(0, "%.1f dB\n", -6.5);
  EXPECT_EQ(LogLinesWith("-6.5 dB"), 1);
}

TEST_F(Appcfg, RepairsPositions) {
  // Two monitors: 3200 pixels across, 1024 down where both have picture. The limits belong to the range.
  const struct {
    int x, y, xWindow, yWindow, xVideo, width, yVideo, height;
  } cases[] = {
      {3200, 1024, 3200, 1024, 3200, 4000, 1024, 3000},
      {3201, 1025, 10, 10, 100, 720, 100, 478},
      {-1, 0, 10, 0, 100, 720, 0, 3000},
  };
  for (const auto& c : cases) {
    const std::string x = std::to_string(c.x);
    const std::string y = std::to_string(c.y);
    m_dir.Write("tonara.ini", "[Interface]\nPosMain_Left=" + x + "\nPosMain_Top=" + y + "\n[Video]\nVideoPosX=" + x +
                                  "\nVideoPosY=" + y + "\nVideoLarg=4000\nVideoHaut=3000\n");
    m_cfg.Load(m_dir.Dir());
    EXPECT_EQ(m_cfg.PosMain_Left, c.xWindow);
    EXPECT_EQ(m_cfg.PosMain_Top, c.yWindow);
    EXPECT_EQ(m_cfg.VideoPosX, c.xVideo);
    EXPECT_EQ(m_cfg.VideoLarg, c.width);
    EXPECT_EQ(m_cfg.VideoPosY, c.yVideo);
    EXPECT_EQ(m_cfg.VideoHaut, c.height);
    EXPECT_EQ(ReadProfileInt(m_cfg.m_szIniPath, "Video", "VideoLarg", 0), c.width) << "made lasting at once";
  }
}

TEST_F(Appcfg, RepairsDevices) {
  m_dir.Write("tonara.ini", "[Mix]\nDeviceOut=Carte B\n[Ligne]\nDeviceIn=Gone\n");
  m_cfg.Load(m_dir.Dir());
  EXPECT_EQ(m_cfg.DeviceOut, "Carte B");
  EXPECT_EQ(m_cfg.DeviceIn, "Ligne A");
  EXPECT_EQ(ReadProfileString(m_cfg.m_szIniPath, "Ligne", "DeviceIn", ""), "Ligne A");
  EXPECT_EQ(LogLinesWith("\"Gone\""), 1);

  const test::CFakeWave none({}, {});
  m_dir.Write("tonara.ini", "[Mix]\nDeviceOut=Carte B\n");
  m_cfg.Load(m_dir.Dir());
  EXPECT_EQ(m_cfg.DeviceOut, "Carte B") << "without a device the name stays";
  EXPECT_EQ(m_cfg.DeviceIn, "");
}

TEST_F(Appcfg, KeepsABadFileBeside) {
  const std::string garbage = "\0\0\0binary\0junk\xFF"s;
  const struct {
    std::string bytes;
    std::vector<std::string> kept;  ///< files beside, in order, after this one
  } steps[] = {
      {"", {""}},
      {garbage, {"", garbage}},
      {"", {"", garbage}},
      {std::string(size_t{5} << 20, '\n'), {"", garbage, std::string(size_t{5} << 20, '\n')}},
  };
  for (const auto& step : steps) {
    m_dir.Write("tonara.ini", step.bytes);
    m_cfg.Load(m_dir.Dir());
    EXPECT_EQ(Ini(), FirstFile());
    for (size_t i = 0; i <= step.kept.size(); ++i) {
      const std::string name = "tonara.ini.bad" + (i == 0 ? ""s : std::to_string(i + 1));
      EXPECT_EQ(m_dir.Exists(name), i < step.kept.size()) << name;
      EXPECT_TRUE(i == step.kept.size() || m_dir.Read(name) == step.kept[i]) << name;
    }
  }
  EXPECT_EQ(LogLinesWith("illisible"), 4);

  // A file without a section isn't bad when all in it is comment.
  m_dir.Write("tonara.ini", "; to be filled in\n\n");
  m_cfg.Load(m_dir.Dir());
  EXPECT_EQ(Ini(), "; to be filled in\n\n" + FirstFile());
}

TEST_F(Appcfg, AFolderInPlaceOfTheFile) {
  m_dir.Write("tonara.ini/inside", "x");
  m_cfg.Load(m_dir.Dir());
  for (int i = 0; i < 8; ++i) m_cfg.Save();
  EXPECT_EQ(m_dir.Read("tonara.ini/inside"), "x");
  EXPECT_EQ(LogLinesWith("écriture impossible"), 1) << "once per cause, then at growing intervals";
  m_cfg.Save();
  EXPECT_EQ(LogLinesWith("(10 fois)"), 1);
}

TEST_F(Appcfg, AWriteThatFailsLosesNothing) {
  m_cfg.Load(m_dir.Dir());
  fs::create_directory(m_dir / "sub");
  fs::rename(m_dir / "tonara.ini", m_dir / "sub/tonara.ini");
  m_cfg.m_szIniPath = m_dir / "gone/tonara.ini";
  m_cfg.MusicSource = 4;
  m_cfg.Save();
  m_cfg.Save();
  EXPECT_EQ(LogLinesWith("écriture impossible"), 1);
  fs::rename(m_dir / "sub", m_dir / "gone");
  m_cfg.Save();
  EXPECT_EQ(ReadProfileInt(m_dir / "gone/tonara.ini", "Musique", "MusicSource", 0), 4);
  fs::rename(m_dir / "gone", m_dir / "sub");
  m_cfg.Save();
  EXPECT_EQ(LogLinesWith("écriture impossible"), 2) << "a success in between: a new failure is news";
}

}  // namespace
}  // namespace tonara
