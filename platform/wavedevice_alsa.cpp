// The backend "alsa": the PCMs of the sound cards, for machines without a sound server. The environment
// variable TONARA_ALSA_PCM puts one PCM of any kind in their place.
#include "platform/wavedevice_alsa.h"

#include <alsa/asoundlib.h>

#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/wavedevice_backends.h"
#include "platform/wavedevice_queue.h"

namespace tonara {
namespace {

constexpr int64_t kOpenNs = 100'000'000;

struct Pcm {
  std::string szPcm;
  std::string szLabel;
};

std::string Chosen() {
  const char* szPcm = std::getenv("TONARA_ALSA_PCM");
  return szPcm == nullptr ? std::string() : szPcm;
}

void AddCard(int nCard, snd_pcm_stream_t eStream, std::vector<Pcm>* pList) {
  snd_ctl_t* pControl = nullptr;
  if (snd_ctl_open(&pControl, ("hw:" + std::to_string(nCard)).c_str(), SND_CTL_NONBLOCK) < 0) return;
  snd_ctl_card_info_t* pCard = nullptr;
  snd_pcm_info_t* pInfo = nullptr;
  if (snd_ctl_card_info_malloc(&pCard) >= 0 && snd_pcm_info_malloc(&pInfo) >= 0 &&
      snd_ctl_card_info(pControl, pCard) >= 0) {
    for (int nDevice = -1; snd_ctl_pcm_next_device(pControl, &nDevice) >= 0 && nDevice >= 0;) {
      snd_pcm_info_set_device(pInfo, static_cast<unsigned>(nDevice));
      snd_pcm_info_set_subdevice(pInfo, 0);
      snd_pcm_info_set_stream(pInfo, eStream);
      if (snd_ctl_pcm_info(pControl, pInfo) < 0) continue;
      // By the card's id, not its number, which depends on the order of discovery.
      pList->push_back(
          {std::string("plughw:CARD=") + snd_ctl_card_info_get_id(pCard) + ",DEV=" + std::to_string(nDevice),
           std::string(snd_ctl_card_info_get_name(pCard)) + ", " + snd_pcm_info_get_name(pInfo)});
    }
  }
  if (pInfo != nullptr) snd_pcm_info_free(pInfo);
  if (pCard != nullptr) snd_ctl_card_info_free(pCard);
  snd_ctl_close(pControl);
}

std::vector<Pcm> List(bool bOut) {
  std::vector<Pcm> list;
  const std::string szChosen = Chosen();
  if (!szChosen.empty()) {
    list.push_back({szChosen, szChosen});
    return list;
  }
  int nCard = -1;
  while (snd_card_next(&nCard) >= 0 && nCard >= 0) {
    AddCard(nCard, bOut ? SND_PCM_STREAM_PLAYBACK : SND_PCM_STREAM_CAPTURE, &list);
  }
  return list;
}

// ALSA writes its errors to stderr, each second while a card is away. Ours go through notices.
void Quiet(const char* /*szFile*/, int /*nLine*/, const char* /*szFunction*/, int /*nError*/, const char* /*szFormat*/,
           ...) {}

class CAlsaBackend final : public CWaveBackend {
 public:
  CAlsaBackend() { snd_lib_error_set_handler(Quiet); }
  [[nodiscard]] const char* Name() const override { return "alsa"; }
  uint32_t OutCount() override { return Count(true); }
  bool OutName(uint32_t nIndex, std::string* pName) override { return PcmName(true, nIndex, pName); }
  uint32_t InCount() override { return Count(false); }
  bool InName(uint32_t nIndex, std::string* pName) override { return PcmName(false, nIndex, pName); }

  std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                          WaveCallback fnDone, std::string* pError) override {
    Pcm pcm;
    if (!Find(true, nIndex, &pcm, pError)) return nullptr;
    return OpenAlsaOut(pcm.szPcm, CutDeviceName(pcm.szLabel), format, fnDone, WaveNowNs() + kOpenNs, pError);
  }
  std::unique_ptr<CWaveInDevice> OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                        WaveCallback fnDone, std::string* pError) override {
    Pcm pcm;
    if (!Find(false, nIndex, &pcm, pError)) return nullptr;
    return OpenAlsaIn(pcm.szPcm, CutDeviceName(pcm.szLabel), format, fnDone, WaveNowNs() + kOpenNs, pError);
  }

 private:
  uint32_t Count(bool bOut) {
    std::vector<Pcm> list = List(bOut);
    std::lock_guard lock(m_mutex);
    std::vector<Pcm>& kept = bOut ? m_outs : m_ins;
    kept = std::move(list);
    return static_cast<uint32_t>(kept.size());
  }
  bool At(bool bOut, uint32_t nIndex, Pcm* pPcm) {
    std::lock_guard lock(m_mutex);
    const std::vector<Pcm>& kept = bOut ? m_outs : m_ins;
    if (nIndex >= kept.size()) return false;
    *pPcm = kept[nIndex];
    return true;
  }
  bool PcmName(bool bOut, uint32_t nIndex, std::string* pName) {
    Pcm pcm;
    if (pName == nullptr) return false;
    if (!At(bOut, nIndex, &pcm) && (Count(bOut) == 0 || !At(bOut, nIndex, &pcm))) return false;
    *pName = CutDeviceName(pcm.szLabel);
    return true;
  }
  bool Find(bool bOut, uint32_t nIndex, Pcm* pPcm, std::string* pError) {
    if (nIndex == kWaveMapper) {
      const std::string szChosen = Chosen();
      *pPcm =
          szChosen.empty() ? Pcm{"default", bOut ? "sortie par défaut" : "entrée par défaut"} : Pcm{szChosen, szChosen};
      return true;
    }
    if (At(bOut, nIndex, pPcm) || (Count(bOut) > 0 && At(bOut, nIndex, pPcm))) return true;
    if (pError != nullptr) *pError = "Périphérique audio inconnu";
    return false;
  }

  std::mutex m_mutex;
  std::vector<Pcm> m_outs;
  std::vector<Pcm> m_ins;
};

}  // namespace

std::unique_ptr<CWaveBackend> MakeAlsaBackend() {
  return std::make_unique<CAlsaBackend>();
}

int AlsaOpenDevices() {
  return AlsaStreams();
}

}  // namespace tonara
