// The continuous audio programme: the shop's background music. One runs at a time; this is the base
// of the kinds, the factory, and the manager that starts and stops the present one. Main thread, also
// where the manager lets a thread of its own do the work.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class QWidget;

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
  /// Lets the operator change this kind's settings in a modal dialog over the parent, then saves them in any
  /// case. True if something changed; false, too, if the parent goes meanwhile. bActif: the programme
  /// that MusicSource chooses is of this kind. Start and Stop are not for an object that is configured: what
  /// runs is another one, which learns of the change when it is started anew. Main thread.
  virtual bool Configure(QWidget* pParent, bool bActif) = 0;

 protected:
  std::string m_szIni;  ///< full path of the settings file
};

/// A new programme of that kind (values of MusicSource), null for any other value.
std::unique_ptr<CAudioProgram> CreateAudioProgram(int nType, const std::string& szIni);
/// Starts the programme that MusicSource chooses, unless one runs. True if one runs afterwards. Blocks
/// while files and devices open.
bool StartAudioProgram();
/// Blocks until the programme's threads have ended.
void StopAudioProgram();
/// StopAudioProgram, then StartAudioProgram, on a thread of the manager: neither a file on a dead drive nor a
/// device holds up the caller. Asked again meanwhile, the latest choice counts, and one that it overtakes is
/// never started. Every other operation here waits for the end first, except GetTitreAudioProgram. fnFini is
/// called on that thread, with what StartAudioProgram would have given, unless the choice is overtaken.
void RelanceAudioProgram(std::function<void(bool)> fnFini = {});
/// A programme started and has not been stopped.
bool IsAudioProgramActif();
/// What the present programme plays. False if there is nothing to show, also while one takes the
/// other's place. Never waits for that.
bool GetTitreAudioProgram(std::string* pOut);
/// The present programme, null for none.
CAudioProgram* GetAudioProgram();

}  // namespace tonara
