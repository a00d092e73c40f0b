// Private to the wave devices: the makers of the backends and what they share.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/wavedevice.h"

namespace tonara {

std::unique_ptr<CWaveBackend> MakeNullBackend();
std::unique_ptr<CWaveBackend> MakeFileBackend(std::string szDir);

/// Hands one line to the program's WaveNotice, if there is one. Any thread.
void NotifyWave(const std::string& szText);

/// A device name as the lists give it: at most 31 bytes, cut between characters.
std::string CutDeviceName(std::string_view szName);

}  // namespace tonara
