// A sound server of a test's own: PulseAudio, or PipeWire with its Pulse server, in a folder of its own,
// with null sinks instead of hardware. It can be frozen, killed and started again.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/tempdir.h"

namespace tonara::test {

/// Points PULSE_SERVER and kin at itself for its lifetime, so one at a time, and made before the
/// backend under test.
class CSoundServer {
 public:
  enum class Kind { PulseAudio, PipeWire };

  /// False if the programs aren't on this machine: the test should be skipped.
  static bool IsInstalled(Kind eKind);

  explicit CSoundServer(Kind eKind);
  ~CSoundServer();
  CSoundServer(const CSoundServer&) = delete;
  CSoundServer& operator=(const CSoundServer&) = delete;

  /// Starts it and waits until it answers. False (with the reason on stderr) if it doesn't.
  bool Start();
  /// Kills it as a crash would. The sinks are gone with it.
  void Kill();
  /// Stops and resumes the process that clients talk to.
  void Freeze();
  void Thaw();
  /// The same for PipeWire's own process, behind the one that clients talk to.
  void FreezeGraph();
  void ThawGraph();

  /// Makes a null sink and waits until it is listed. PulseAudio's own, left as it is, lets a stream
  /// wait for up to two seconds when it begins; a prompt one doesn't.
  bool AddSink(const std::string& szName, const std::string& szDescription, bool bPrompt = true);
  /// Removes it with everything that plays on it.
  bool RemoveSink(const std::string& szName);
  /// Number of streams that play on any sink now.
  int Streams();
  /// Listens to a null sink for 0.3 s: the highest peak, 0 to 32767; -1 if nothing comes within 2 s.
  int HeardPeak(const std::string& szSink);
  /// Output of pactl with those arguments; ends after three seconds.
  std::string Pactl(const std::string& szArguments);

 private:
  struct Saved {
    std::string szName;
    bool bHad;
    std::string szValue;
  };
  struct Module {
    std::string szSink;
    std::string szId;
  };
  void SetEnvironment(const std::string& szName, const std::string& szValue);
  pid_t Spawn(const std::vector<std::string>& command, const std::string& szLog);
  bool WaitAnswer();

  const Kind m_eKind;
  CTempDir m_dir;
  std::vector<Saved> m_saved;
  std::vector<pid_t> m_helpers;  ///< bus, PipeWire itself, its session manager
  pid_t m_graph = -1;
  pid_t m_server = -1;  ///< what clients talk to
  std::vector<Module> m_modules;
};

}  // namespace tonara::test
