#include "tests/support/soundserver.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "tests/support/waitfor.h"

namespace tonara::test {
namespace {

bool InPath(const char* szProgram) {
  const char* szPath = std::getenv("PATH");
  std::istringstream path(szPath == nullptr ? "" : szPath);
  for (std::string szDir; std::getline(path, szDir, ':');) {
    if (access((szDir + "/" + szProgram).c_str(), X_OK) == 0) return true;
  }
  return false;
}

std::string RunCommand(const std::string& szCommand) {
  FILE* pPipe = popen(szCommand.c_str(), "r");
  if (pPipe == nullptr) return {};
  std::string output;
  char buffer[4096];
  for (size_t n = 0; (n = fread(buffer, 1, sizeof buffer, pPipe)) > 0;) output.append(buffer, n);
  pclose(pPipe);
  return output;
}

void End(pid_t pid) {
  if (pid <= 0) return;
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

}  // namespace

bool CSoundServer::IsInstalled(Kind eKind) {
  if (!InPath("pactl") || !InPath("parec") || !InPath("timeout")) return false;
  if (eKind == Kind::PulseAudio) return InPath("pulseaudio");
  return InPath("pipewire") && InPath("pipewire-pulse") && InPath("wireplumber") && InPath("dbus-daemon");
}

CSoundServer::CSoundServer(Kind eKind) : m_eKind(eKind) {
  const std::string szDir = m_dir.Dir();
  chmod(szDir.c_str(), 0700);
  SetEnvironment("HOME", szDir);
  SetEnvironment("XDG_RUNTIME_DIR", szDir);
  const std::string szPulse = m_dir / "pulse";  // both servers put their socket there
  SetEnvironment("PULSE_RUNTIME_PATH", szPulse);
  SetEnvironment("PULSE_SERVER", "unix:" + szPulse + "/native");
  SetEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + m_dir / "bus");
}

CSoundServer::~CSoundServer() {
  Kill();
  for (auto it = m_helpers.rbegin(); it != m_helpers.rend(); ++it) End(*it);
  for (const Saved& one : m_saved) {
    if (one.bHad) {
      setenv(one.szName.c_str(), one.szValue.c_str(), 1);
    } else {
      unsetenv(one.szName.c_str());
    }
  }
}

void CSoundServer::SetEnvironment(const std::string& szName, const std::string& szValue) {
  const char* szOld = std::getenv(szName.c_str());
  m_saved.push_back({szName, szOld != nullptr, szOld == nullptr ? "" : szOld});
  setenv(szName.c_str(), szValue.c_str(), 1);
}

pid_t CSoundServer::Spawn(const std::vector<std::string>& command, const std::string& szLog) {
  std::vector<char*> argv;
  argv.reserve(command.size() + 1);
  for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  const std::string szPath = m_dir / szLog;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, szPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t pid = -1;
  if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

bool CSoundServer::Start() {
  m_modules.clear();
  if (m_eKind == Kind::PulseAudio) {
    m_server = Spawn({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no", "-L",
                      "module-native-protocol-unix auth-anonymous=1"},
                     "server.log");
  } else {
    if (m_helpers.empty()) {
      const auto socketThere = [this](const char* szName) {
        return WaitFor([&] { return m_dir.Exists(szName); }, std::chrono::seconds(5));
      };
      // The session manager asks for a session bus, and leaves without one.
      m_helpers.push_back(
          Spawn({"dbus-daemon", "--session", "--nofork", "--address=unix:path=" + m_dir / "bus"}, "bus.log"));
      if (!socketThere("bus")) return false;
      m_graph = Spawn({"pipewire"}, "pipewire.log");
      m_helpers.push_back(m_graph);
      if (!socketThere("pipewire-0")) return false;
      m_helpers.push_back(Spawn({"wireplumber"}, "wireplumber.log"));
    }
    m_server = Spawn({"pipewire-pulse"}, "server.log");
  }
  if (m_server > 0 && WaitAnswer()) return true;
  std::fprintf(stderr, "sound server: no answer\n%s\n", m_dir.Read("server.log").c_str());
  return false;
}

bool CSoundServer::WaitAnswer() {
  return WaitFor([this] { return Pactl("info").find("Server Name") != std::string::npos; }, std::chrono::seconds(10));
}

void CSoundServer::Kill() {
  End(m_server);
  m_server = -1;
  m_modules.clear();
}

void CSoundServer::Freeze() {
  kill(m_server, SIGSTOP);
}

void CSoundServer::Thaw() {
  kill(m_server, SIGCONT);
}

void CSoundServer::FreezeGraph() {
  kill(m_graph, SIGSTOP);
}

void CSoundServer::ThawGraph() {
  kill(m_graph, SIGCONT);
}

std::string CSoundServer::Pactl(const std::string& szArguments) {
  return RunCommand("LC_ALL=C timeout 3 pactl " + szArguments + " 2>/dev/null");
}

bool CSoundServer::AddSink(const std::string& szName, const std::string& szDescription, bool bPrompt) {
  const std::string szMore = m_eKind == Kind::PulseAudio && bPrompt ? " norewinds=1" : "";
  // The module's own parser wants the outer quotes, the shell the ones around it all.
  std::string szId = Pactl("load-module module-null-sink sink_name=" + szName + szMore +
                           " 'sink_properties=\"device.description='\\''" + szDescription + "'\\''\"'");
  while (!szId.empty() && szId.back() == '\n') szId.pop_back();
  if (szId.empty()) return false;
  m_modules.push_back({szName, szId});
  return WaitFor([&] { return Pactl("list short sinks").find("\t" + szName + "\t") != std::string::npos; },
                 std::chrono::seconds(5));
}

bool CSoundServer::RemoveSink(const std::string& szName) {
  const auto it = std::ranges::find(m_modules, szName, &Module::szSink);
  if (it == m_modules.end()) return false;
  Pactl("unload-module " + it->szId);
  m_modules.erase(it);
  return WaitFor([&] { return Pactl("list short sinks").find("\t" + szName + "\t") == std::string::npos; },
                 std::chrono::seconds(5));
}

int CSoundServer::Streams() {
  const std::string szList = Pactl("list short sink-inputs");
  return static_cast<int>(std::ranges::count(szList, '\n'));
}

int CSoundServer::HeardPeak(const std::string& szSink) {
  const std::string pcm =
      RunCommand("timeout 2 parec --raw --format=s16le --rate=44100 --channels=1 --latency-msec=50 -d " + szSink +
                 ".monitor 2>/dev/null | head -c 26460");  // 0.3 s, counted from the first sample
  if (pcm.size() < 2) return -1;
  int nPeak = 0;
  for (size_t n = 0; n + 1 < pcm.size(); n += 2) {
    int16_t nSample = 0;
    std::memcpy(&nSample, pcm.data() + n, 2);
    nPeak = std::max(nPeak, std::abs(int{nSample}));
  }
  return nPeak;
}

}  // namespace tonara::test
