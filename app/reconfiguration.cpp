#include "app/reconfiguration.h"

#include <tuple>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "programmes/audioprogram.h"
#include "schedule/calendrier.h"

namespace tonara {
namespace {

auto Virgules(const CAppcfg& cfg) {
  return std::tie(cfg.VirguleAvant, cfg.PathVirguleAvant, cfg.VirguleEntre, cfg.PathVirguleEntre);
}

auto Moniteur(const CAppcfg& cfg) {
  return std::tie(cfg.EnableVideo, cfg.Monitor);
}

auto Habillage(const CAppcfg& cfg) {
  return std::tie(cfg.FondCoul, cfg.EnableLogo, cfg.PathLogo, cfg.PctSizeLogo, cfg.PctPosXLogo, cfg.PctPosYLogo);
}

auto Bandeau(const CAppcfg& cfg) {
  const CAppcfg::SyntheCfg& s = cfg.Synthe;
  return std::tie(s.PctPosX, s.PctPosY, s.PctLarg, s.PctHaut, s.Vitesse, s.PerfsMax, s.FondCoul, s.TextCoul, s.PctAlpha,
                  s.FontName);
}

}  // namespace

Reconfiguration CompareReglages(const CAppcfg& actuels, const CAppcfg& edites, bool bProgrammeActif) {
  Reconfiguration r;
  const bool bMoniteur = Moniteur(actuels) != Moniteur(edites);
  r.bPlan = bMoniteur || Virgules(actuels) != Virgules(edites);
  r.bMixeur = actuels.DeviceOut != edites.DeviceOut;
  r.bProgramme = bProgrammeActif && (r.bMixeur || actuels.MusicSource != edites.MusicSource);
  r.bVideo = bMoniteur || Habillage(actuels) != Habillage(edites) || Bandeau(actuels) != Bandeau(edites);
  return r;
}

void AppliqueReglages(const CAppcfg& edites) {
  const Reconfiguration r = CompareReglages(g_Appcfg, edites, IsAudioProgramActif());
  if (r.bProgramme) StopAudioProgram();
  if (r.bMixeur) {
    g_Mixout.StopAll();
    g_Mixout.Stop();
  }
  g_Appcfg = edites;
  g_Appcfg.Save();
  if (r.bMixeur) g_Mixout.Start(FindDeviceOut(g_Appcfg.DeviceOut), g_Appcfg.NbBuffers, g_Appcfg.TailleBuffers, 0);
  if (r.bProgramme) StartAudioProgram();
  if (r.bPlan) g_Calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
}

}  // namespace tonara
