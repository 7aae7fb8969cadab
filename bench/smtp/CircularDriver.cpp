// A circular as the distribution window sends it: the mailing run's
// separate run over N recipients, one mail each, on implicit TLS with AUTH
// PLAIN, no pacing. Prints the time and the connections the run made.
//   kalvex_circular_driver HOST PORT COUNT

#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "send/ComposeModel.h"
#include "send/EMailVersand.h"
#include "send/MailingRun.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTextDocument>
#include <cstdio>

using namespace kalvex;

namespace {

void configure(TConfig& config, const QStringList& args)
{
    config.FSendDirekt = 1;
    config.FVersandart = TVersandArt::vaDirekt;
    config.FHost = args[1];
    config.FPort = static_cast<uint16_t>(args[2].toInt());
    config.FUser = "bench@example.org";
    config.FPass = "geheim";
    config.FVerbindungVerschluesselt = true;
}

void compose(TComposeModel& model, int count)
{
    model.Subject = "Rundschreiben";
    model.Body().setPlainText("Sehr geehrte Damen und Herren,\nanbei unser Rundschreiben.");
    for (int i = 0; i < count; ++i)
        model.AddRecipient({QString("empf%1@example.org").arg(i), {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
    model.SeparateFlag = true;
}

}  // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);   // the run builds HTML from the rich-text body
    const QStringList args = app.arguments();
    if (args.size() < 4) {
        std::fprintf(stderr, "usage: %s HOST PORT COUNT\n", argv[0]);
        return 2;
    }
    TConfig config{QString()};
    configure(config, args);
    TComposeModel model;
    compose(model, args[3].toInt());
    TRecordingMessages messages;
    int connections = 0;
    TMailingRunDeps deps;
    deps.newSmtpSender = [&]() -> std::unique_ptr<ISmtpSender> {
        struct Counted : TEMailVersand {
            int& n;
            explicit Counted(int& count) : n(count) {}
            ~Counted() override { n += Connections(); }
        };
        return std::make_unique<Counted>(connections);
    };
    TMailingRun run(model, messages, config, deps);
    QElapsedTimer timer;
    timer.start();
    run.SendClick();
    const double seconds = timer.elapsed() / 1000.0;
    const TRunTally& tally = run.Tally();
    std::printf("%d mails sent, %d failed in %.3f s over %d connections\n", tally.sent, tally.failed, seconds, connections);
    return tally.failed == 0 && tally.sent == args[3].toInt() ? 0 : 1;
}
