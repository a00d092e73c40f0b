// Stands in for the dialogs in builds without Qt: there is no operator, so nothing changes.
#include "programmes/audioligneprogram.h"
#include "programmes/audioloopfileprogram.h"
#include "programmes/audioplaylistprogram.h"

namespace tonara {

bool CAudioLigneProgram::Configure(QWidget* /*pParent*/, bool /*bActif*/) {
  return false;
}

bool CAudioLoopFileProgram::Configure(QWidget* /*pParent*/, bool /*bActif*/) {
  return false;
}

bool CAudioPlaylistProgram::Configure(QWidget* /*pParent*/, bool /*bActif*/) {
  return false;
}

}  // namespace tonara
