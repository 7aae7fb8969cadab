// A run whose store stops answering: the mail is sent, the log step ends
// within the store's time-out with the message that it was not recorded.

#include "InstalledModuleTest.h"
#include "db/MariaDBServer.h"
#include "smtp/SmtpServer.h"

#include "config/UserMessages.h"
#include "send/EMailVersand.h"
#include "send/MailingRun.h"

#include <QTextDocument>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// Lets the server go on however the test ends: other tests share it.
struct TThawAtEnd {
    ~TThawAtEnd() { MariaDBServer::Instance().Thaw(); }
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
    config->FSendDirekt = 1;
    config->FVersandart = TVersandArt::vaDirekt;
    config->FHost = "127.0.0.1";
    config->FPort = server.Port();
    config->FUser = "absender@example.org";
    config->FPass = "geheim";
    config->FVerbindungVerschluesselt = false;
    TComposeModel model;
    TRecordingMessages messages;
    model.Subject = "Angebot";
    model.Body().setPlainText("Text");
    model.AddRecipient({"a@example.org", {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
    TMailingRunDeps deps;
    deps.newSmtpSender = [&messages] { return std::make_unique<TEMailVersand>(&messages); };
    deps.storeMail = [](TEMail& mail, int) { TDatenModul::Instance()->SaveEMail(mail, TMailStatus::stGesendet); };
    TMailingRun run(model, messages, *config, deps);

    const TThawAtEnd thaw;
    MariaDBServer::Instance().Freeze();
    run.SendClick();
    EXPECT_EQ(server.MailCount(), 1);
    const QStringList errors = messages.Texts(TRecordingMessages::Kind::Error);
    ASSERT_EQ(errors.size(), 1) << errors.join("|").toStdString();
    EXPECT_TRUE(errors[0].startsWith("Die E-Mail wurde gesendet, aber nicht im Protokoll gespeichert: "))
        << errors[0].toStdString();
    EXPECT_EQ(run.Tally().notLogged, 1);
}
