// The real program, run in a start directory of its own, at a time of our choice, without a display unless
// it is given one.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"

namespace tonara::test {

/// A time of day at which a program starts: local time of a zone without summer time.
struct Instant {
  int nYear = 2026, nMonth = 3, nDay = 2, nHour = 9, nMinute = 59, nSecond = 55;
};

/// Real seconds since 1970, with the fraction.
double RealNow();
/// The same moment of a machine whose clock stands right.
double RealSeconds(const Instant& instant);

/// One run. The program's sound goes to Dir() + "out-001.wav"; its lock for one instance is private to
/// the object, unless shared by Partage. Killed at the end if it still runs.
class CProgram {
 public:
  CProgram() = default;
  ~CProgram();
  CProgram(const CProgram&) = delete;
  CProgram& operator=(const CProgram&) = delete;

  [[nodiscard]] const CTempDir& Dir() const { return m_dir; }
  /// Takes the user's runtime folder of that run, so that the two programs know of each other.
  void Partage(const CProgram& autre) { m_szRuntime = autre.Runtime(); }
  /// Makes the program's clock show that time at the beginning of the next whole second of real time,
  /// which is when Start returns. Its monotonic clock stays true. Before Start.
  void SetHeure(const Instant& instant) { m_heure = instant; }
  /// Shows its windows on that display (":7" for instance). Before Start.
  void SetAffichage(const std::string& szAffichage) { m_szAffichage = szAffichage; }

  /// Loads a library into the program before its own. Before Start.
  void Precharge(const std::string& szBibliotheque) { m_szPrecharge = szBibliotheque; }

  /// Starts szProgramme in Dir(). False if there is no way to move its clock, or no process.
  bool Start(const char* szProgramme);
  /// The real moment at which the program's clock shows that time.
  [[nodiscard]] double Reel(const Instant& instant) const { return RealSeconds(instant) - m_fDecalage; }
  /// What the program's clock shows now, in seconds of the same count as RealSeconds.
  [[nodiscard]] double Maintenant() const { return RealNow() + m_fDecalage; }

  /// Waits on a condition, looking every 5 ms; false after fSecondes.
  template <class Condition>
  bool Attend(double fSecondes, Condition condition) {
    for (const double fFin = RealNow() + fSecondes; !condition();) {
      if (RealNow() > fFin) return false;
      Regarde();
      Pause();
    }
    return true;
  }
  /// Waits until that real moment.
  void AttendJusque(double fReel) {
    Attend(fReel - RealNow() + 1.0, [&] { return RealNow() >= fReel; });
  }
  void Signal(int nSignal) const;
  /// The process's result, if it ends within that time; -signal if a signal ended it.
  std::optional<int> Resultat(double fSecondes);
  [[nodiscard]] bool EnVie();

  /// Real moment at which frame 0 of the sound left the device, from the growth of the file: at most a
  /// few ms late. Kept up to date by Attend.
  [[nodiscard]] double DebutDuSon() const { return m_fDebutSon; }

 private:
  [[nodiscard]] std::string Runtime() const { return m_szRuntime.empty() ? m_dir / "runtime" : m_szRuntime; }
  void Regarde();
  static void Pause();

  CTempDir m_dir;
  std::string m_szRuntime;
  std::string m_szAffichage;
  std::string m_szPrecharge;
  std::optional<Instant> m_heure;
  double m_fDecalage = 0.0;  // program's clock minus real time, whole seconds
  double m_fDebutSon = 0.0;
  pid_t m_pid = -1;
  std::optional<int> m_resultat;
};

}  // namespace tonara::test
