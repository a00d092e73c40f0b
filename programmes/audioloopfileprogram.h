// "PAD audio": one file in a loop for as long as the programme runs. The mixer does the looping; the
// programme has no thread.
#pragma once

#include <cstdint>
#include <string>

#include "programmes/audioprogram.h"

namespace tonara {

/// Main thread.
class CAudioLoopFileProgram final : public CAudioProgram {
 public:
  /// Loads its section, unless szIni is empty.
  explicit CAudioLoopFileProgram(const std::string& szIni);

  /// Writes the history line, then plays the file into the groupe "MUSIQUE". False, traced by the
  /// mixer, if the file can't be opened; there is no second try. Opens the file in the caller's thread.
  bool Start() override;
  bool Stop() override;
  bool Suspend(uint32_t nFlag) override;
  /// File name with its extension; false only for a null output.
  bool GetTitre(std::string* pOut) override;
  /// Section "LoopFile", key PathLoopFile; without it g_szAppDir + "Demo/Loop.wav".
  bool Load(const std::string& szIni) override;
  /// False, traced, if the settings file can't be written.
  bool Save(const std::string& szIni) override;
  /// "PAD audio": the file, with a test that is heard on top of what plays.
  bool Configure(QWidget* pParent, bool bActif) override;

  std::string m_szPath;
};

}  // namespace tonara
