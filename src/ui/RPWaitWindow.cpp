#include "ui/RPWaitWindow.h"

#include "config/LanguageUnit.h"
#include "ui/WindowRunner.h"

#include <QApplication>
#include <QLabel>
#include <QScreen>
#include <QVBoxLayout>

namespace kalvex {

TrunProcessWindow::TrunProcessWindow(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(Tx(2800, "Der Kalvex wartet ..."));
    setWindowModality(Qt::ApplicationModal);
    setFixedSize(328, 99);
    auto* layout = new QVBoxLayout(this);
    lbWartet = new QLabel(Tx(2801, "Der Kalvex wartet auf das Beenden von"), this);
    lbProgramm = new QLabel(this);
    lbSchritt = new QLabel(this);
    for (QLabel* label : {lbWartet, lbProgramm, lbSchritt})
        layout->addWidget(label);
    QFont bold = lbProgramm->font();
    bold.setBold(true);
    lbProgramm->setFont(bold);
}

void TrunProcessWindow::Begin(const QString& program)
{
    lbProgramm->setText(program);
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        move(screen->availableGeometry().center() - rect().center());
    MakeTransientForHost(this);
    show();
    Show(QString());
}

// Only painting and timers run meanwhile: the user waits.
void TrunProcessWindow::Show(const QString& lastLine)
{
    if (!lastLine.isEmpty())
        lbSchritt->setText(lastLine);
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void TrunProcessWindow::End()
{
    hide();
}

}  // namespace kalvex
