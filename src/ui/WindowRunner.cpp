#include "ui/WindowRunner.h"

#include "config/AppHandle.h"
#include "ui/Appearance.h"

#include <QDialog>
#include <QTimer>
#include <QWindow>

namespace kalvex {

void MakeTransientForHost(QWidget* window)
{
    const uintptr_t handle = ApplicationHandle();
    if (handle == 0)
        return;
    window->winId();   // creates the native window
    if (QWindow* host = QWindow::fromWinId(static_cast<WId>(handle))) {
        static_cast<QObject*>(host)->setParent(window);   // lives as long as the window
        window->windowHandle()->setTransientParent(host);
    }
}

int RunModal(QDialog& dialog)
{
    MakeTransientForHost(&dialog);
    ApplyKeptAppearance(&dialog);
    if (qEnvironmentVariableIntValue("KALVEX_AUTOCLOSE") == 1)
        QTimer::singleShot(0, &dialog, &QDialog::reject);
    return dialog.exec();
}

}  // namespace kalvex
