// "Programme continu": which programme plays, which one is shown, and the way to their settings. Modeless
// and single; every click takes effect at once. Main thread.
#pragma once

class QWidget;

namespace tonara {

/// Opens the dialog, which goes with its parent. False, and nothing happens, if it is open.
bool OpenDlgProgramme(QWidget* pParent);
/// Closes it if it is open. For the program's end.
void CloseDlgProgramme();

}  // namespace tonara
