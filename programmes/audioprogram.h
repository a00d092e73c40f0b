// The continuous audio programme: the shop's background music. One runs at a time; this is the base
// of the kinds, the factory, and the manager that starts and stops the present one. Main thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tonara {

enum ProgrammeAudio : int { kPgmAucun = 0, kPgmLigne = 1, kPgmWebradio = 2, kPgmLoopFile = 3, kPgmPlaylist = 4 };

class CAudioProgram {
 public:
  virtual ~CAudioProgram() = default;
  /// Logs the start in the history and starts sound. False if nothing sounds.
  virtual bool Start() = 0;
  virtual bool Stop() = 0;
  /// Hook twinned with the visual programmes; changes nothing here.
  virtual bool Suspend(uint32_t nFlag) = 0;
  /// What plays now. False if there is nothing to show.
  virtual bool GetTitre(std::string* pOut) = 0;
  virtual bool Load(const std::string& szIni) = 0;
  virtual bool Save(const std::string& szIni) = 0;

 protected:
  std::string m_szIni;  ///< full path of the settings file
};

/// A new programme of that kind (values of MusicSource), null for any other value.
std::unique_ptr<CAudioProgram> CreateAudioProgram(int nType, const std::string& szIni);
/// Starts the programme that MusicSource chooses, unless one runs. True if one runs afterwards.
bool StartAudioProgram();
void StopAudioProgram();
/// A programme started and has not been stopped.
bool IsAudioProgramActif();
/// The present programme, null for none.
CAudioProgram* GetAudioProgram();

}  // namespace tonara
