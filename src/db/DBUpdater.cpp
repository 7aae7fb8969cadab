#include "db/DBUpdater.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"

#include <algorithm>

namespace kalvex {

namespace {

TFieldInfoV2 F(const char* name, TFieldType type, int length = 0)
{
    return TFieldInfoV2{QString::fromLatin1(name), type, length, QString(), false};
}

TFieldInfoV2 S(const char* name)
{
    return F(name, TFieldType::ftWideString, 255);
}

const TFieldType Int = TFieldType::ftInteger;
const TFieldType Memo = TFieldType::ftMemo;
const TFieldType AutoInc = TFieldType::ftAutoInc;

QString lines(std::initializer_list<const char*> parts)
{
    QStringList out;
    for (const char* p : parts)
        out << QString::fromUtf8(p);
    return out.join(QStringLiteral("\r\n"));
}

}  // namespace

// Only SQLite stores come from the versions that kept day counts.
bool TDBUpdater::keepsDayCounts() const
{
    return FDBHandler.Database().ConnectionInfo().DatabaseType == TQMBDatabaseConfigType::dbtSQLite;
}

// The day-count check runs at every start (an older module sharing the
// store may have written some since): with this index it reads a range of
// the index, not every mail with its texts.
bool TDBUpdater::hasDateIndex()
{
    return FDBHandler.IndexExists(QStringLiteral("KVXGesendeteMails"), QLatin1String(kDateIndex));
}

void TDBUpdater::ensureDateIndex()
{
    if (keepsDayCounts() && FDBHandler.TableExists(QStringLiteral("KVXGesendeteMails")) && !hasDateIndex())
        FDBHandler.AddIndex(QStringLiteral("KVXGesendeteMails"), QStringLiteral("Datum"), QLatin1String(kDateIndex), false);
}

bool TDBUpdater::hasDayCounts()
{
    return FDBHandler.CalcSQL_Int(0, QStringLiteral("SELECT COUNT(*) FROM [KVXGesendeteMails] WHERE [Datum] < 2000000")) > 0;
}

// The order matters: KVXRubrik must be filled before KVXVorlage copies it.
// The upgrade columns are those the upgrade steps add: a store that has
// them all needs no upgrade.
std::vector<TDBUpdater::TTableCheck> TDBUpdater::tableChecks()
{
    return {
        {"KVXAdresse", {F("ID", AutoInc), F("GruppenID", Int), F("AdressDB_ID", Int), S("Vorname"), S("Nachname"),
                        S("Firma"), S("Zusatz"), S("EMail"), S("Titel"), S("Branche"), S("Strasse"), S("HausNr"),
                        S("PLZ"), S("Ort"), S("Telefon"), S("Fax"), S("Funk"), S("Beruf"), F("Anrede", Int)},
         {"Anrede"}, &TDBUpdater::upgradeAdresse, nullptr},
        // The content is the row's last column: SQLite writes a large blob
        // piece by piece only when no value follows it in the row.
        {"KVXAnhang", {F("ID", AutoInc), F("MailID", Int), F("Pfad", Memo), F("Dateigroesse", TFieldType::ftFloat),
                       F("Objekt", TFieldType::ftBlob)},
         {}, nullptr, nullptr},
        {"KVXEmpfaenger", {F("ID", AutoInc), F("MailID", Int), S("Adresse"), S("GanzerName"), S("Firma"),
                           F("AdressDB_ID", Int), F("EmpfType", Int)},
         {"EmpfType"}, &TDBUpdater::upgradeEmpfaenger, nullptr},
        {"KVXGesendeteMails", {F("ID", AutoInc), F("Betreff", Memo), F("Datum", TFieldType::ftDateTime),
                               F("MailStatus", Int), S("Status"), F("InhaltRTF", Memo), F("Inhalt", Memo),
                               S("GesendetDurch"), S("EmpfListeAls"), F("SeperatSenden", TFieldType::ftBoolean)},
         {"SeperatSenden", "MailStatus"}, &TDBUpdater::upgradeGesendeteMails, nullptr},
        {"KVXGruppe", {F("ID", AutoInc), S("Gruppenname")}, {}, nullptr, nullptr},
        {"KVXKategorie", {F("ID", AutoInc), S("Kategorie"), F("Inhalt", Memo)}, {}, nullptr,
         &TDBUpdater::FillTableKVXKategorie},
        {"KVXRubrik", {F("ID", AutoInc), S("Rubrik"), F("KategorieID", Int), F("Inhalt", Memo)}, {}, nullptr,
         &TDBUpdater::FillTableKVXRubrik},
        {"KVXTempEmpf", {F("ID", AutoInc), S("MailAdr"), S("GanzerName"), S("Firma"), F("AdressDB_ID", Int)}, {},
         nullptr, nullptr},
        {"KVXVorlage", {F("ID", AutoInc), S("Name"), F("KategorieID", Int), F("Art", Int), F("Typ", Int),
                        F("IsStandard", TFieldType::ftBoolean), S("Betreff"), F("BodyPlain", Memo), F("BodyRTF", Memo)},
         {"Art"}, &TDBUpdater::upgradeVorlage, &TDBUpdater::copyTextBlocksToTemplates},
        {"ProgrammVorlageArt", {F("GUID", TFieldType::ftWideString, 50), S("Name1031"), F("Beschreibung1031", Memo),
                                S("Name1033"), F("Beschreibung1033", Memo), F("Felder", TFieldType::ftBlob),
                                F("FelderVersion", Int)},
         {"Felder", "FelderVersion", "Name1031", "Name1033", "Beschreibung1031", "Beschreibung1033"},
         &TDBUpdater::upgradeProgrammVorlageArt, nullptr},
        {"ProgrammVorlage", {F("GUID", TFieldType::ftWideString, 50), F("Art", TFieldType::ftWideString, 50),
                             S("Name1031"), S("Name1033"), S("Betreff"), F("Body", Memo),
                             F("IsStandard", TFieldType::ftBoolean), F("IsDefault", TFieldType::ftBoolean),
                             F("OrvanProgVersion", Int), F("FelderVersion", Int)},
         {"FelderVersion", "Name1031", "Name1033"}, &TDBUpdater::upgradeProgrammVorlage, nullptr},
        {"ProgrammVorlageArt_Programm", {F("ProgrammVorlageArt_GUID", TFieldType::ftGuid), F("Programm_ID", Int)}, {},
         nullptr, nullptr},
    };
}

// An up-to-date store is only read, so that opening it waits for no writer
// of another process. Otherwise the check and every change run under the
// store's schema lock: processes starting together on a new store create
// and seed it once, the others find it done.
void TDBUpdater::CheckTables(bool convertedFromAccess)
{
    const QStringList tables = FDBHandler.getTableNames(false);
    if (!convertedFromAccess)
        refuseForeignFile(tables);
    if (isUpToDate(tables))
        return;
    FDBHandler.BeginSchemaChange();
    try {
        for (const TTableCheck& check : tableChecks())
            checkTable(check);
        ensureDateIndex();
    } catch (...) {
        FDBHandler.EndSchemaChange(false);
        throw;
    }
    FDBHandler.EndSchemaChange(true);
}

// A file of another program that happens to carry the store's name gets
// no tables of ours.
void TDBUpdater::refuseForeignFile(const QStringList& tables) const
{
    if (!keepsDayCounts() || tables.isEmpty())
        return;
    for (const QString& table : tables)
        if (table.startsWith(QLatin1String("KVX"), Qt::CaseInsensitive))
            return;
    throw EKalvex(Tx(2500, "Die Datei %1 ist keine Datenbank von Kalvex: sie enthält Tabellen, aber keine des Moduls. "
                           "Sie wird nicht verändert.")
                      .arg(FDBHandler.Database().ConnectionInfo().FilePath()));
}

bool TDBUpdater::isUpToDate(const QStringList& tables)
{
    for (const TTableCheck& check : tableChecks()) {
        if (!tables.contains(QLatin1String(check.name), Qt::CaseInsensitive))
            return false;
        if (!hasColumns(QLatin1String(check.name), check.upgradeColumns))
            return false;
    }
    return !keepsDayCounts() || (hasDateIndex() && !hasDayCounts());
}

bool TDBUpdater::hasColumns(const QString& table, const QStringList& fields)
{
    if (fields.isEmpty())
        return true;
    TQMBDataSet* ds = FDBHandler.OpenSQL(QStringLiteral("select * from ") + table + QStringLiteral(" where 1=2"));
    const bool all = std::all_of(fields.begin(), fields.end(), [&](const QString& f) { return ds->HasField(f); });
    ds->Close();
    return all;
}

void TDBUpdater::checkTable(const TTableCheck& check)
{
    const QString table = QLatin1String(check.name);
    if (FDBHandler.TableExists(table)) {
        if (check.upgrade)
            (this->*check.upgrade)();
        return;
    }
    FDBHandler.createTable(table, check.fields);
    if (check.seed)
        (this->*check.seed)();
}

// A missing column is added and set to 0 in the existing rows; an existing
// one is never touched.
void TDBUpdater::checkColumn(const QString& table, const QString& field, TFieldType type)
{
    TQMBDataSet* ds = FDBHandler.OpenSQL(QStringLiteral("select * from ") + table + QStringLiteral(" where 1=2"));
    const bool present = ds->HasField(field);
    ds->Close();
    if (present)
        return;
    FDBHandler.addField(table, field, type, 255);
    FDBHandler.ExecSQL(QStringLiteral("update ") + table + QStringLiteral(" set ") + field + QStringLiteral(" = 0 where ")
                       + field + QStringLiteral(" is NULL"));
}

// The salutation (0 not recorded, 1 Frau, 2 Herr, 3 divers) came with the
// personal circulars.
void TDBUpdater::upgradeAdresse()
{
    checkColumn(QStringLiteral("KVXAdresse"), QStringLiteral("Anrede"), Int);
}

void TDBUpdater::upgradeEmpfaenger()
{
    checkColumn(QStringLiteral("KVXEmpfaenger"), QStringLiteral("EmpfType"), Int);
}

void TDBUpdater::upgradeGesendeteMails()
{
    // Day counts from 1899-12-30 become Julian day numbers; converted rows
    // are above the bound and stay as they are.
    ensureDateIndex();
    if (keepsDayCounts() && hasDayCounts())
        FDBHandler.ExecSQL(QStringLiteral("UPDATE [KVXGesendeteMails]  SET [Datum] = [Datum] + 2415018.5 WHERE [Datum] < 2000000"));
    checkColumn(QStringLiteral("KVXGesendeteMails"), QStringLiteral("SeperatSenden"), TFieldType::ftBoolean);
    TQMBDataSet* ds = FDBHandler.OpenSQL(QStringLiteral("select * from KVXGesendeteMails where 1=2"));
    const bool hasStatus = ds->HasField(QStringLiteral("MailStatus"));
    ds->Close();
    if (hasStatus)
        return;
    checkColumn(QStringLiteral("KVXGesendeteMails"), QStringLiteral("MailStatus"), Int);
    FDBHandler.ExecSQL(QStringLiteral("update KVXGesendeteMails set MailStatus = :MailStatus"), {P("MailStatus", 0)});
    const QString byStatus = QStringLiteral("update KVXGesendeteMails set MailStatus = :MailStatus where Status = :Status");
    FDBHandler.ExecSQL(byStatus, {P("MailStatus", 1), P("Status", QStringLiteral("bearbeiten"))});
    FDBHandler.ExecSQL(byStatus, {P("MailStatus", 2), P("Status", QStringLiteral("gesendet"))});
}

void TDBUpdater::upgradeVorlage()
{
    TQMBDataSet* ds = FDBHandler.OpenSQL(QStringLiteral("select * from KVXVorlage where 1=2"));
    const bool hasArt = ds->HasField(QStringLiteral("Art"));
    ds->Close();
    if (hasArt)
        return;
    checkColumn(QStringLiteral("KVXVorlage"), QStringLiteral("Art"), Int);
    copyTextBlocksToTemplates();
}

void TDBUpdater::upgradeProgrammVorlageArt()
{
    const QString t = QStringLiteral("ProgrammVorlageArt");
    checkColumn(t, QStringLiteral("Felder"), TFieldType::ftBlob);
    checkColumn(t, QStringLiteral("FelderVersion"), Int);
    checkColumn(t, QStringLiteral("Name1031"), TFieldType::ftWideString);
    checkColumn(t, QStringLiteral("Name1033"), TFieldType::ftWideString);
    checkColumn(t, QStringLiteral("Beschreibung1031"), Memo);
    checkColumn(t, QStringLiteral("Beschreibung1033"), Memo);
}

void TDBUpdater::upgradeProgrammVorlage()
{
    const QString t = QStringLiteral("ProgrammVorlage");
    checkColumn(t, QStringLiteral("FelderVersion"), Int);
    checkColumn(t, QStringLiteral("Name1031"), TFieldType::ftWideString);
    checkColumn(t, QStringLiteral("Name1033"), TFieldType::ftWideString);
}

void TDBUpdater::copyTextBlocksToTemplates()
{
    struct Row {
        QString name;
        QVariant kategorie;
        QString inhalt;
    };
    std::vector<Row> rows;
    TQMBDataSet* ds = FDBHandler.OpenSQL(QStringLiteral("select * from KVXRubrik"));
    while (ds->Next())
        rows.push_back({ds->Field("Rubrik").toString(), ds->Field("KategorieID"), ds->Field("Inhalt").toString()});
    ds->Close();
    for (const Row& r : rows)
        FDBHandler.ExecSQL(QStringLiteral("insert into KVXVorlage (Name, KategorieID, Art, Typ, IsStandard, Betreff, BodyPlain, BodyRTF) values (:Name, :KategorieID, :Art, :Typ, :IsStandard, :Betreff, :BodyPlain, :BodyRTF)"),
                           {P("Name", r.name), P("KategorieID", r.kategorie), P("Art", 0), P("Typ", 0),
                            P("IsStandard", false), P("Betreff", QString("")), P("BodyPlain", QString("")),
                            P("BodyRTF", r.inhalt)});
}

void TDBUpdater::FillTableKVXKategorie()
{
    try {
        for (const char* name : {"Anrede", "Mangel"})
            FDBHandler.ExecSQL(QStringLiteral("insert into KVXKategorie (Kategorie) values (:a);"),
                               {P("a", QString::fromLatin1(name))});
    } catch (const std::exception& e) {
        TLogFile::LogGlobal(false, QStringLiteral("FillTableKVXKategorie: ") + QString::fromUtf8(e.what()));
    }
}

void TDBUpdater::FillTableKVXRubrik()
{
    const QList<std::tuple<QString, int, QString>> rows = {
        {QStringLiteral("Frau"), 1, QStringLiteral("Sehr geehrte Frau,")},
        {QStringLiteral("Herr"), 1, QStringLiteral("Sehr geehrter Herr,")},
        {QStringLiteral("Damen und Herren"), 1, QStringLiteral("Sehr geehrte Damen und Herren,")},
        {QStringLiteral("Text 1"), 2, TextA()},
        {QStringLiteral("Text 2"), 2, TextB()},
        {QStringLiteral("Text 3"), 2, TextC()},
        {QStringLiteral("Text 4"), 2, TextD()},
    };
    FDBHandler.BeginTrans();
    try {
        for (const auto& [rubrik, kategorie, inhalt] : rows)
            FDBHandler.ExecSQL(QStringLiteral("insert into KVXRubrik (Rubrik, KategorieID, Inhalt) values (:a, :b, :c);"),
                               {P("a", rubrik), P("b", kategorie), P("c", inhalt)});
        FDBHandler.CommitTrans();
    } catch (const std::exception& e) {
        FDBHandler.RollbackTrans();
        TLogFile::LogGlobal(false, QStringLiteral("FillTableKVXRubrik: ") + QString::fromUtf8(e.what()));
    }
}

QString TDBUpdater::TextA()
{
    return lines({"Sehr geehrte Damen und Herren, ", "",
                  "die Vorortbegehung am tt.mm.20jj ergab sichtbare Mängel. ",
                  "Beiliegend finden Sie deren Auflistung mit der Bitte um Beseitigung innerhalb von zwei Wochen, spätestens jedoch bis tt.mm.20jj.",
                  "", "Mit freundlichen Grüßen"});
}

QString TDBUpdater::TextB()
{
    return lines({"Sehr geehrte Damen und Herren, ", "",
                  "bei der Vorortbegehung am tt.mm.20jj wurden offene Restleistungen festgestellt. Beiliegend finden Sie deren Auflistung mit der Bitte um Erledigung bis tt.mm.20jj. ",
                  "", "Mit freundlichen Grüßen"});
}

QString TDBUpdater::TextC()
{
    return lines({"Sehr geehrte Damen und Herren, ", "",
                  "auf Grundlage des mit Ihnen geschlossenen Bauvertrages zeigen wir Ihnen lt. § 4 Nr. 7 VOB/B die im Anhang aufgelisteten Mängel an. ",
                  "", "Die Mängel wurden während der Baustellenbegehung am tt.mm.20jj festgestellt. ", "", "oder ", "",
                  "Die Mängel wurden Ihnen mit Bauherren / AG Schreiben / Mangelanzeige des Bauherren / AG Nr. … vom tt.mm.20jj angezeigt. ",
                  "",
                  "Um den weiteren Bauablauf nicht zu beeinträchtigen, fordern wir Sie gemäß den vertraglichen Regelungen hiermit namens und in Vollmacht des Bauherren/AG auf, den Mangel sofort, spätestens jedoch innerhalb der von uns gesetzten Frist bis ",
                  "", "Datum / Uhrzeit ", "", "vollständig zu beseitigen. ", "",
                  "Die Mangelbeseitigung ist uns nach Bestätigung von … / der Bauleitung vor Ort schriftlich innerhalb der von uns gesetzten Frist mitzuteilen.",
                  "", "Mit freundlichen Grüßen"});
}

QString TDBUpdater::TextD()
{
    return lines({"Sehr geehrte Damen und Herren, ", "",
                  "die am tt.mm.20jj gerügten Mängel wurden nicht wie gefordert bist zum tt.mm.20jj beseitigt, die von uns gesetzte Frist ist damit fruchtlos verstrichen. ",
                  "",
                  "Unter Hinweis auf § 4 Nr. 7 VOB/B fordern wir Sie hiermit namens und in Vollmacht des Bauherrn / AG letztmalig auf, die o. g. Mängel sofort, spätestens jedoch innerhalb zu der von uns gesetzten Nachfrist bis ",
                  "", "Datum / Uhrzeit ", "", "vollständig zu beseitigen. ", "",
                  "Die Mangelbeseitigung ist uns schriftlich nach Bestätigung von xxx / der Bauleitung vor Ort und innerhalb der von uns gesetzten Nachfrist mitzuteilen. ",
                  "",
                  "Wir weisen Sie bereits jetzt darauf hin, dass der Auftraggeber nach fruchtlosem Ablauf dieser Nachfrist berechtigt ist, Ihnen den Auftrag gemäß § 8 Nr. 3 VOB/B ganz oder teilweise zu entziehen und die Mängel auf Ihre Kosten durch ein Drittunternehmen beseitigen zu lassen. Die hierdurch entstehenden Mehrkosten sowie etwaige weitere Schäden werden wir Ihnen in Rechnung stellen. ",
                  "", "Mit freundlichen Grüßen"});
}

}  // namespace kalvex
