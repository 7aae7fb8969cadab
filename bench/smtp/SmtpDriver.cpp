// Sends N small mails (one connection each) or one mail with an attachment
// through TEMailVersand, and prints mails per second.
//   kalvex_smtp_driver HOST PORT COUNT [--tls] [--attach FILE]

#include "mailinterface/EMail.h"
#include "send/EMailVersand.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <cstdio>

using namespace kalvex;

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4) {
        std::fprintf(stderr, "usage: %s HOST PORT COUNT [--tls] [--attach FILE]\n", argv[0]);
        return 2;
    }
    const bool tls = args.contains("--tls");
    const qsizetype attachAt = args.indexOf("--attach");
    const int count = args[3].toInt();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i) {
        TEMail mail;
        mail.FVon = "bench@example.org";
        mail.FAn = {"sink@example.org"};
        mail.FBetreff = QString("Benchmark %1").arg(i);
        mail.FBodyPlain = "Kurzer Text.";
        mail.FBodyHTML = {"<p>Kurzer Text.</p>"};
        if (attachAt > 0)
            mail.FAnhaenge = {args[attachAt + 1]};
        TEMailVersand sender;
        sender.Setup(args[1], tls ? "bench@example.org" : QString(), tls, static_cast<uint16_t>(args[2].toInt()),
                     tls ? "geheim" : QString());
        try {
            sender.SendMail(mail);
        } catch (const EKalvex& e) {
            std::fprintf(stderr, "mail %d: %s\n", i, e.what());
            return 1;
        }
    }
    const double seconds = timer.elapsed() / 1000.0;
    std::printf("%d mails in %.3f s = %.1f mails/s\n", count, seconds, count / seconds);
    return 0;
}
