// Lists the wave devices that the program would see, by backend, and tries to open the default output.
//   listdevices [auto|pulse|alsa|null|file:DIR]
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/wavedevice.h"

int main(int argc, char** argv) {
  const char* szEnvironment = std::getenv("TONARA_AUDIO");
  const std::string szChoice = argc > 1 ? argv[1] : szEnvironment != nullptr ? szEnvironment : "auto";
  tonara::SetWaveNotice([](const char* szText) { std::printf("%s\n", szText); });
  const auto pBackend = tonara::MakeWaveBackend(szChoice);
  std::printf("%s\n", pBackend->Name());
  std::string szName;
  const uint32_t nOuts = pBackend->OutCount();
  for (uint32_t n = 0; n < nOuts; ++n) {
    if (pBackend->OutName(n, &szName)) std::printf("  sortie %u : %s\n", n, szName.c_str());
  }
  const uint32_t nIns = pBackend->InCount();
  for (uint32_t n = 0; n < nIns; ++n) {
    if (pBackend->InName(n, &szName)) std::printf("  entrée %u : %s\n", n, szName.c_str());
  }
  std::string szError;
  const auto pOut = pBackend->OpenOut(
      tonara::kWaveMapper, tonara::MakePcmFormat(44100, 2, 16), true, [](tonara::WaveHeader*) {}, &szError);
  std::printf("  sortie par défaut : %s\n", pOut != nullptr ? "ouverte" : szError.c_str());
  return pOut != nullptr ? 0 : 1;
}
