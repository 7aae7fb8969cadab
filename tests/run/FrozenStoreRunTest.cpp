// A run whose store stops answering: the mail is sent, the log step ends
// within the store's time-out with the message that it was not recorded.

#include "InstalledModuleTest.h"
#include "db/MariaDBServer.h"
#include "smtp/SmtpServer.h"

#include "config/UserMessages.h"
#include "send/EMailVersand.h"
#include "send/MailingRun.h"

#include <QTextDocument>
#include <condition_variable>
#include <mutex>
#include <thread>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// Freezes the server and lets it go on however the test ends: at the end,
// or after a minute at the latest, so that a save that would wait for ever
// ends (and the test fails) instead of hanging the test program.
class TFrozenServer {
public:
    TFrozenServer()
    {
        MariaDBServer::Instance().Freeze();
        FWatchdog = std::thread([this] {
            std::unique_lock lock(FMutex);
            FDone.wait_for(lock, std::chrono::minutes(1), [this] { return FEnded; });
            MariaDBServer::Instance().Thaw();
        });
    }
    ~TFrozenServer()
    {
        {
            const std::lock_guard lock(FMutex);
            FEnded = true;
        }
        FDone.notify_one();
        FWatchdog.join();
    }

private:
    std::mutex FMutex;
    std::condition_variable FDone;
    bool FEnded = false;
    std::thread FWatchdog;
};

class FrozenStoreRunTest : public InstalledModuleTest {
protected:
    void SetUp() override
    {
        InstalledModuleTest::SetUp();
        TDatenModul::Free();
        const QString ini = common + "Common04/KVXIni/serverdboptions.ini";
        TQMBDatabaseFactory::SaveDatabaseConfig(ini, "Kalvex", MariaDBServer::Instance().NewSchema());
        TIniFile(ini).WriteInteger("Kalvex", "Timeout", 2);
        TDatenModul::Install(std::make_unique<TDatenModul>());
    }
};

}  // namespace

TEST_F(FrozenStoreRunTest, SentMailIsReportedAsNotLoggedWhenTheServerStopsAnswering)
{
    SmtpServer server({"--auth", "PLAIN,LOGIN", "--user", "absender@example.org"});
    ASSERT_TRUE(server.Running());
    useServer(server, "geheim");
    TComposeModel model;
    TRecordingMessages messages;
    model.Subject = "Angebot";
    model.Body().setPlainText("Text");
    model.AddRecipient({"a@example.org", {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
    TMailingRunDeps deps;
    deps.newSmtpSender = [&messages] { return std::make_unique<TEMailVersand>(&messages); };
    deps.storeMail = [](TEMail& mail, int) { TDatenModul::Instance()->SaveEMail(mail, TMailStatus::stGesendet); };
    TMailingRun run(model, messages, *config, deps);

    const TFrozenServer frozen;
    run.SendClick();
    EXPECT_EQ(server.MailCount(), 1);
    const QStringList errors = messages.Texts(TRecordingMessages::Kind::Error);
    ASSERT_EQ(errors.size(), 1) << errors.join("|").toStdString();
    EXPECT_TRUE(errors[0].startsWith("Die E-Mail wurde gesendet, aber nicht im Protokoll gespeichert: "))
        << errors[0].toStdString();
    EXPECT_EQ(run.Tally().notLogged, 1);
}
