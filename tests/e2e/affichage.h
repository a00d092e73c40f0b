// A screen of a test's own with a window manager on it, and simulated hands: a display server without a
// monitor, driven by the real keyboard and mouse events of its test extension.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace tonara::test {

/// Both servers end with the object, and with the test's process whatever becomes of it.
class CAffichage {
 public:
  CAffichage() = default;
  ~CAffichage();
  CAffichage(const CAffichage&) = delete;
  CAffichage& operator=(const CAffichage&) = delete;

  /// False if one of the programs that it takes isn't installed.
  static bool Possible();
  /// Starts the display, on a number that is free, and its window manager; true once windows can be shown.
  bool Demarre();
  /// For DISPLAY, ":7" for instance.
  [[nodiscard]] const std::string& Nom() const { return m_szNom; }

  /// Waits until a window of that title is shown and has the keyboard, asking for it if need be. Empty
  /// after 20 s, else the window's number. The title is that of all windows whose title is matched by it
  /// as an extended regular expression, from its beginning to its end.
  std::string Fenetre(const std::string& szTitre);
  [[nodiscard]] bool Montree(const std::string& szTitre) const { return !Cherche(szTitre).empty(); }
  /// Keys by name ("Tab", "alt+a"), one after the other, to the window that has the keyboard.
  void Touches(const std::vector<std::string>& vTouches) const;
  void Tape(const std::string& szTexte) const;
  /// Any other command of the hands' program; what it says, without the end of its line.
  std::string Commande(std::vector<std::string> vArguments) const;

 private:
  [[nodiscard]] std::string Cherche(const std::string& szTitre) const;
  [[nodiscard]] std::vector<std::string> Environnement() const;

  pid_t m_pidServeur = -1;
  pid_t m_pidFenetres = -1;
  std::string m_szNom;
};

}  // namespace tonara::test
