#pragma once
// A complete installation in a temporary folder for widget tests and the
// screenshot tool: registry file, settings, the data module on SQLite, a
// template kind "Mängelanzeige" with fields and a repeat block, a German
// and an English template, the host's field values, and logged mails.

#include "config/IniPlus.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "mailinterface/Felder.h"

#include <QDir>
#include <QTemporaryDir>

namespace kalvex::testing {

class DemoInstallation {
public:
    const QUuid Kind{"{5E1D0C3A-7B42-4F10-9C3E-2A6D8B1F4E70}"};
    const QUuid TemplateDE{"{0A7C4E21-3B5D-4C6F-8E9A-1B2C3D4E5F60}"};
    const QUuid TemplateEN{"{0A7C4E21-3B5D-4C6F-8E9A-1B2C3D4E5F61}"};

    DemoInstallation()
    {
        TIniFile reg(FDir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Test", FDir.filePath("data"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", FDir.filePath("common") + "/");
        qputenv("KALVEX_REGISTRY", FDir.filePath("registry.ini").toUtf8());
        TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
        QDir().mkpath(FDir.filePath("common/Common04"));
        Module = &TDatenModul::Install(std::make_unique<TDatenModul>());
        Module->FOrvanProgID = 1;
        fillFields(Fields, true);
        TFelder kindFields;
        fillFields(kindFields, false);
        Module->VorlageArtAnlegen(Kind, "Mängelanzeige", "Defect notice", "", "", std::move(kindFields), 1);
        Module->VorlageAnlegen(Kind, TemplateDE, "Mängelanzeige", "Mängelanzeige (deutsch)", "Mängelanzeige <Projekt>",
                               "Sehr geehrte Damen und Herren,\n\nfolgende Mängel am Bauvorhaben <Projekt>:\n"
                               "<Mangel-Wiederholung-Anfang><Nr>. <Beschreibung>\n<Mangel-Wiederholung-Ende>"
                               "Bitte beseitigen Sie sie bis zum <Frist>.",
                               "", true);
        Module->VorlageAnlegen(Kind, TemplateEN, "Defect notice (englisch)", "Defect notice", "Defect notice <Project>",
                               "Dear Sir or Madam,\n\nthe following defects on <Project>:\n"
                               "<Defect-Wiederholung-Anfang><No>. <Description>\n<Defect-Wiederholung-Ende>Please remedy them by <Deadline>.",
                               "", false);
        Module->LoadProgrammVorlageListeFromDB(QUuid());
    }
    ~DemoInstallation()
    {
        TDatenModul::Free();
        TLogFile::Uninstall();
        TLang::Free();
        TConfig::Free();
        qunsetenv("KALVEX_REGISTRY");
    }
    void LogMail(const QString& subject, TMailStatus status)
    {
        TEMail mail;
        mail.FBetreff = subject;
        mail.FBodyPlain = "Sehr geehrte Damen und Herren,";
        mail.FDatum = 46348.4;
        mail.FSender = TMailSender::msKalvex;
        mail.FLEmpfaenger.Add().FAdresse = "anna.schaefer@example.org";
        Module->SaveEMail(mail, status);
        Module->LoadEMailListeFromDB(true);
    }
    QString Path(const QString& name) const { return FDir.filePath(name); }
    // Direct sending, without encryption, to a local test server.
    static void SendDirectTo(quint16 port)
    {
        TConfig& config = TConfig::Ensure();
        config.FSendDirekt = 1;
        config.FVersandart = TVersandArt::vaDirekt;
        config.FHost = "127.0.0.1";
        config.FPort = port;
        config.FUser = "absender@example.org";
        config.FVerbindungVerschluesselt = false;
    }

    TDatenModul* Module = nullptr;
    TFelder Fields;

private:
    // Filled in place: a repeat block's rows point at its own column list.
    static void fillFields(TFelder& f, bool withValues)
    {
        const char* simple[][3] = {{"Projekt", "Project", "Neubau Lagerhalle Nord"}, {"Frist", "Deadline", "15.12.2026"}};
        for (const auto& s : simple) {
            TFeldEinfach& field = f.FEinfachListe.Add();
            field.FGUID = QUuid::fromString(QStringLiteral("{22222222-0000-4000-8000-0000000000%1}").arg(&s - simple, 2, 10, QLatin1Char('0')));
            field.FFeldnameList.SetText(1031, s[0]);
            field.FFeldnameList.SetText(1033, s[1]);
            field.FWert = withValues ? s[2] : "";
        }
        TFeldWiederholung& block = f.FWiederholungListe.Add();
        block.FGUID = QUuid("{33333333-0000-4000-8000-000000000001}");
        block.FFeldnameBlockList.SetText(1031, "Mangel");
        block.FFeldnameBlockList.SetText(1033, "Defect");
        const char* columns[][3] = {{"{11111111-0000-4000-8000-000000000001}", "Nr", "No"},
                                    {"{11111111-0000-4000-8000-000000000002}", "Beschreibung", "Description"}};
        for (const auto& c : columns) {
            TFeldWiederholungBlockFeld& column = block.FBlockFeldListe.Add();
            column.FGUID = QUuid(c[0]);
            column.FFeldnameList.SetText(1031, c[1]);
            column.FFeldnameList.SetText(1033, c[2]);
        }
        const char* rows[][2] = {{"1", "Risse im Estrich"}, {"2", "Tür schließt nicht"}};
        for (int r = 0; withValues && r < 2; ++r) {
            TFeldWiederholungBlockDaten& row = block.AddRow();
            for (int c = 0; c < 2; ++c) {
                TFeldWiederholungBlockWert& cell = row.Add();
                cell.FGUID = QUuid(columns[c][0]);
                cell.FWert = rows[r][c];
            }
        }
    }

    QTemporaryDir FDir;
};

}  // namespace kalvex::testing
