// French for the toolkit's own texts: buttons, file chooser, colour chooser, the menus of fields. The
// system's translation files need not be there.
#pragma once

#include <QTranslator>

class QCoreApplication;

namespace tonara {

class CFrancais final : public QTranslator {
  Q_OBJECT

 public:
  using QTranslator::QTranslator;

  [[nodiscard]] QString translate(const char* szContexte, const char* szTexte, const char* szPrecision,
                                  int n) const override;
  [[nodiscard]] bool isEmpty() const override { return false; }
};

/// For all windows from here on. Once; the application keeps it.
void InstalleFrancais(QCoreApplication& app);

}  // namespace tonara
