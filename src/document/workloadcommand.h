#pragma once

class QTabWidget;
class QWidget;

namespace korva {

// The right to see any officer's list and the workload of all of them.
inline constexpr auto kRightListAll = "AssignmentListAll";

// The "Workload..." command beside the document's tabs, for officers holding
// "AssignmentListAll" only (the server refuses everyone else in any case). It opens the one
// workload overview of `owner`, or brings it to the front when already open.
void installWorkloadCommand(QWidget *owner, QTabWidget *tabs);

} // namespace korva
