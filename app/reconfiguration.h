// Applying edited settings to the running program: what has to be restarted, and in which order.
// Main thread.
#pragma once

namespace tonara {

class CAppcfg;

struct Reconfiguration {
  bool bPlan = false;       ///< the day's plan is generated anew
  bool bProgramme = false;  ///< the audio programme is restarted
  bool bVideo = false;      ///< all that stands on the monitor is restarted
  bool bMixeur = false;     ///< the mixer is opened on another device

  bool operator==(const Reconfiguration&) const = default;
};

/// What the step from one set of settings to the other restarts. Texts are compared exactly. Settings
/// that aren't looked at here (levels, durations, paths read when used) are in force as soon as they
/// are stored. bProgrammeActif: an audio programme runs; none is started here that didn't run before.
Reconfiguration CompareReglages(const CAppcfg& actuels, const CAppcfg& edites, bool bProgrammeActif);

/// Stops what has to be restarted, stores the settings and saves them (in every case), starts it again, and
/// asks for a new plan last, because what may enter it depends on what runs by then. Blocks while
/// threads end and devices close. A message on the air ends with the output it plays on.
void AppliqueReglages(const CAppcfg& edites);

}  // namespace tonara
