// Private to the wave devices: an output and an input on an ALSA PCM.
#pragma once

#include <memory>
#include <string>

#include "platform/wavedevice.h"

namespace tonara {

/// The device's thread opens and drives the PCM, so a blocking plug-in holds up nobody else. Waits
/// for the opening until the deadline; a PCM that isn't open by then, is missing or is busy is absent:
/// the device keeps time and tries again each second. Null with *pError on a refusal.
std::unique_ptr<CWaveOutDevice> OpenAlsaOut(const std::string& szPcm, const std::string& szLabel,
                                            const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                            std::string* pError);
std::unique_ptr<CWaveInDevice> OpenAlsaIn(const std::string& szPcm, const std::string& szLabel,
                                          const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                          std::string* pError);

/// Streams open now.
int AlsaStreams();

}  // namespace tonara
