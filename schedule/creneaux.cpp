#include "schedule/creneaux.h"

#include "core/log.h"
#include "schedule/grille.h"

namespace tonara {
namespace {

constexpr int32_t kPeriodique = 0;
constexpr int32_t kHeureFixe = 1;

}  // namespace

bool ParcourirCreneaux(const Rule& rule, size_t nRegle,
                       const std::function<bool(uint16_t wHeure, uint16_t wMinute)>& fnCreneau) {
  if (rule.TimeMode != kPeriodique && rule.TimeMode != kHeureFixe) return true;
  const auto nPas = static_cast<uint16_t>(rule.TimeFrequency);
  uint32_t h = rule.TimeBegin / 100;
  uint32_t m = rule.TimeBegin % 100;
  if (h + m / 60 > 23) {
    Trace(1, "Règle %zu : l'heure %u n'est pas dans la journée\n", nRegle, rule.TimeBegin);
    return true;
  }
  do {
    // Only the first slot can have a minute past 59. Left as it is it would stand before the next hour's
    // events in the plan and keep them waiting until its own time has come.
    if (!fnCreneau(static_cast<uint16_t>(h + m / 60), static_cast<uint16_t>(m % 60))) return false;
    if (rule.TimeMode == kHeureFixe) return true;
    if (nPas == 0) {
      Trace(1, "Règle %zu : fréquence de %u minutes, diffusée une seule fois\n", nRegle, rule.TimeFrequency);
      return true;
    }
    // In 16 bits a step near 65536 takes the minutes back. The walk still ends: within an hour the minute
    // only falls, and the step that doesn't wrap leaves the day.
    m = static_cast<uint16_t>(m + nPas);
    if (m >= 60) {
      h += m / 60;
      m %= 60;
    }
  } while (h <= 23 && rule.TimeEnd >= h * 100 + m);
  return true;
}

}  // namespace tonara
