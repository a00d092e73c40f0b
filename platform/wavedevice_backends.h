// Private to the wave devices: the makers of the backends and what they share.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/wavedevice.h"

namespace tonara {

std::unique_ptr<CWaveBackend> MakeNullBackend();
std::unique_ptr<CWaveBackend> MakeFileBackend(std::string szDir);
std::unique_ptr<CWaveBackend> MakePulseBackend();
std::unique_ptr<CWaveBackend> MakeAlsaBackend();
std::unique_ptr<CWaveBackend> MakeAutoBackend();

/// True if a sound server answers within that time. Any thread.
bool PulseAnswers(int64_t llWithinNs);
/// Streams open now, by backend. Any thread.
int PulseOpenDevices();
int AlsaOpenDevices();

/// Hands one line to the program's WaveNotice, if there is one. Any thread.
void NotifyWave(const std::string& szText);

/// A device name as the lists give it: at most 31 bytes, cut between characters.
std::string CutDeviceName(std::string_view szName);

}  // namespace tonara
