// A personal circular of 1,000 recipients with a 200 KB RTF body: the
// merge (the template split once, each recipient's mail joined from the
// pieces) against the whole run, whose every mail is built into its MIME
// message as for sending (no network: the lower bound of a real run).

#include "compose/PersonalCircular.h"
#include "compose/rtf/RtfWriter.h"
#include "config/IniPlus.h"
#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "mailinterface/EMail.h"
#include "send/MailingRun.h"
#include "send/MimeBuilder.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTextDocument>
#include <benchmark/benchmark.h>

using namespace kalvex;

namespace {

constexpr int kRecipients = 1000;

// Builds every mail's message as the SMTP session would, and drops it.
class TMimeOnlySender : public ISmtpSender {
public:
    void Setup(const QString&, const QString&, bool, uint16_t, const QString&) override {}
    bool SendMail(TEMail& mail) override
    {
        benchmark::DoNotOptimize(EncodedMessageSize(AssembleMessage(BuildMimeMessage(mail))));
        return true;
    }
};

void fillModel(TComposeModel& model)
{
    model.Subject = QStringLiteral("Einladung für <Empfaenger.Firma>");
    QString text = QStringLiteral("<Empfaenger.Briefanrede>\n");
    for (int i = 0; text.size() < 135000; ++i)
        text += QStringLiteral("Absatz %1 für <Empfaenger.Name> mit Umlauten äöü und Text, der die Seite füllt.\n").arg(i);
    model.Body().setPlainText(text);
    for (int i = 0; i < kRecipients; ++i) {
        TComposeRecipient r{QStringLiteral("empf%1@example.org").arg(i), {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn};
        r.person.anrede = i % 2 ? TAnrede::anFrau : TAnrede::anHerr;
        r.person.lastName = QStringLiteral("Name%1").arg(i);
        r.person.company = QStringLiteral("Firma %1 GmbH").arg(i);
        model.Recipients.push_back(r);
    }
}

struct Fixture {
    QTemporaryDir dir;
    TComposeModel model;
    TRecordingMessages messages;
    Fixture()
    {
        TIniFile reg(dir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", dir.filePath("common"));
        qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
        TConfig& config = TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Bench")));
        config.FSendDirekt = 1;
        config.FUser = QStringLiteral("absender@example.org");
        fillModel(model);
        model.SeparateFlag = true;
    }
    TMailingRun run()
    {
        TMailingRunDeps deps;
        deps.newSmtpSender = [] { return std::make_unique<TMimeOnlySender>(); };
        return TMailingRun(model, messages, *TConfig::Instance(), deps);
    }
    TEMail templateMail()
    {
        TEMail mail;
        TMailingRun r = run();
        r.BuildMail(mail, QString());
        return mail;
    }
};

Fixture& fixture()
{
    static Fixture f;
    return f;
}

void Merge1000Recipients(benchmark::State& state)
{
    const TEMail tpl = fixture().templateMail();
    state.counters["rtf_kb"] = static_cast<double>(tpl.FBodyRTF.toUtf8().size()) / 1024;
    for (auto _ : state) {
        const TPersonalCircular circular(tpl);
        for (const TComposeRecipient& r : fixture().model.Recipients) {
            TEMail mail;
            circular.Apply(mail, RecipientPerson(r));
            benchmark::DoNotOptimize(mail.FBodyRTF.size());
        }
    }
}

void SeparateRun1000Recipients(benchmark::State& state)
{
    for (auto _ : state) {
        TMailingRun run = fixture().run();
        run.SendClick();
        if (run.Tally().sent != kRecipients)
            state.SkipWithError(fixture().messages.Texts(TRecordingMessages::Kind::Error).value(0).toStdString().c_str());
    }
}

}  // namespace

BENCHMARK(Merge1000Recipients)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(SeparateRun1000Recipients)->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
