// The day's plan as the operator sees it: "Programmation du jour". Main thread.
#pragma once

class QWidget;

namespace tonara {

/// At most one list is open, whoever asks. It shows the plan of g_Calendrier as of its last Refresh.
class CListeEvents {
 public:
  virtual ~CListeEvents() = default;

  /// Opens the list, which stays open beside the other windows and goes with its parent. False, and nothing
  /// happens, if it is open.
  bool Open(QWidget* pParent);
  /// Reads the plan anew, keeping the operator's place, then moves the highlight. False if closed.
  bool Refresh();
  /// Puts the highlight on the message that plays or comes next. False if closed.
  bool MoveHighlight();
  /// Closes the list if it is open.
  void Close();
};

extern CListeEvents g_ListeEvents;

}  // namespace tonara
