#pragma once
// What a user does with the module's windows in a journey: answers the
// real message boxes, cancels the progress window, acts once the
// distribution window is up. Also a host's in-memory stream.

#include "entry/MemoryStream.h"
#include "ui/fMainForm.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>
#include <deque>
#include <functional>

namespace kalvex::testing {

// An in-memory stream as a host makes one; released at the end of scope.
struct TStreamRef {
    TStreamRef() = default;
    TStreamRef(TStreamRef&& other) noexcept : s(std::exchange(other.s, nullptr)) {}
    ~TStreamRef() { if (s) s->lpVtbl->Release(s); }
    IStream* Interface() const { return s; }
    IStream* s = TMemoryStream::Create();
};

// Watches for the module's modal windows as a user would: reads every
// message box and answers it, clicks "Abbrechen" in the progress window
// when told to, and closes any other dialog it is not told about.
class TUser {
public:
    TUser()
    {
        FTimer.setInterval(15);
        QObject::connect(&FTimer, &QTimer::timeout, [this] { look(); });
        FTimer.start();
    }
    void Answer(bool yes) { FAnswers.push_back(yes ? Yes : No); }
    void AnswerWithEscape() { FAnswers.push_back(Escape); }   // the next question gets the Esc key
    void CancelWhen(std::function<bool(const QString&)> when) { FCancelWhen = std::move(when); }
    void OnDialog(std::function<void(QDialog&)> handle) { FOnDialog = std::move(handle); }
    QStringList Seen(QMessageBox::Icon icon) const
    {
        QStringList out;
        for (const auto& [kind, text] : FSeen)
            if (kind == icon)
                out << text;
        return out;
    }
    int Boxes() const { return static_cast<int>(FSeen.size()); }
    qint64 CancelledAtMs = -1;   // on the clock of the test, started by the test
    QElapsedTimer Clock;

private:
    void look()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* box = qobject_cast<QMessageBox*>(modal))
            answer(*box);
        else if (auto* dialog = qobject_cast<QDialog*>(modal); dialog && !qobject_cast<TMainForm*>(dialog))
            other(*dialog);
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* progress = qobject_cast<QProgressDialog*>(w); progress && progress->isVisible())
                maybeCancel(*progress);
    }
    void answer(QMessageBox& box)
    {
        if (box.property("seen").toBool())
            return;
        box.setProperty("seen", true);
        FSeen.push_back({box.icon(), box.text()});
        const TReply reply = box.icon() == QMessageBox::Question && !FAnswers.empty() ? FAnswers.front() : No;
        if (box.icon() == QMessageBox::Question && !FAnswers.empty())
            FAnswers.pop_front();
        if (reply == Escape) {
            QTest::keyClick(&box, Qt::Key_Escape);
            return;
        }
        const QStringList wanted = reply == Yes ? QStringList{"Ja", "Yes"} : QStringList{"Nein", "No"};
        for (QAbstractButton* b : box.buttons())
            if (box.icon() != QMessageBox::Question || wanted.contains(b->text())) {
                QTest::mouseClick(b, Qt::LeftButton);
                return;
            }
    }
    void other(QDialog& dialog)
    {
        if (auto* progress = qobject_cast<QProgressDialog*>(&dialog)) {
            maybeCancel(*progress);
            return;
        }
        if (FOnDialog)
            FOnDialog(dialog);
        else
            dialog.reject();
    }
    void maybeCancel(QProgressDialog& progress)
    {
        if (!FCancelWhen || CancelledAtMs >= 0 || !FCancelWhen(progress.labelText()))
            return;
        progress.grab().save(QStringLiteral(KALVEX_SCREENSHOT_DIR "/progress-run.png"));   // for a look
        for (QPushButton* b : progress.findChildren<QPushButton*>()) {
            CancelledAtMs = Clock.elapsed();
            QTest::mouseClick(b, Qt::LeftButton);   // a real click: it must get through
            return;
        }
    }

    enum TReply { No, Yes, Escape };
    QTimer FTimer;
    std::deque<TReply> FAnswers;
    std::vector<std::pair<QMessageBox::Icon, QString>> FSeen;
    std::function<bool(const QString&)> FCancelWhen;
    std::function<void(QDialog&)> FOnDialog;
};

// Calls what the user does once the distribution window is up and modal
// (not before: something may spin the event loop while it is being made).
inline void whenWindowIsUp(std::function<void(TMainForm&)> act)
{
    auto* poll = new QTimer;
    poll->setInterval(10);
    QObject::connect(poll, &QTimer::timeout, [poll, act] {
        auto* w = qobject_cast<TMainForm*>(QApplication::activeModalWidget());
        if (!w || !w->isVisible())
            return;
        poll->stop();
        poll->deleteLater();
        act(*w);
        if (w->isVisible()) {
            ADD_FAILURE() << "the journey left the window open";
            w->done(QDialog::Rejected);
        }
    });
    poll->start();
}

}  // namespace kalvex::testing
