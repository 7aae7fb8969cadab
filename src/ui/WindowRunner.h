#pragma once
// Shows the module's modal windows on top of the host: each is made
// transient for the host window (the application handle) before it runs.
//
// With KALVEX_AUTOCLOSE=1 in the environment a modal window closes as soon
// as it is shown: the host boundary tests drive the window-opening methods
// end to end without anybody to click.

class QDialog;
class QWidget;

namespace kalvex {

void MakeTransientForHost(QWidget* window);
int RunModal(QDialog& dialog);

}  // namespace kalvex
