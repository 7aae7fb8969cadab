#pragma once
// Owns the module's table layout. Every start it looks at the tables and
// columns themselves (there is no version number): a missing table is
// created whole, an older one gets its missing columns and converted data.
// Running it again on an up-to-date store changes nothing and only reads.
// A SQLite file with tables but none of the module's is refused untouched.

#include "db/BasedbClasses.h"

namespace kalvex {

class TDBUpdater {
public:
    explicit TDBUpdater(TQMBDatabaseHandler& handler) : FDBHandler(handler) {}   // handler not owned

    // A store that the conversion of the old Access file has just written is
    // the module's own, whatever tables it holds.
    void CheckTables(bool convertedFromAccess = false);

    // The seed texts of the text blocks (CR LF line breaks).
    static QString TextA();
    static QString TextB();
    static QString TextC();
    static QString TextD();

private:
    // One table: its whole definition for a new store, the columns its
    // upgrade adds, the upgrade of an existing table and the seed of a new one.
    struct TTableCheck {
        const char* name;
        TFieldInfoV2List fields;
        QStringList upgradeColumns;
        void (TDBUpdater::*upgrade)();
        void (TDBUpdater::*seed)();
    };
    static std::vector<TTableCheck> tableChecks();
    void refuseForeignFile(const QStringList& tables) const;
    bool isUpToDate(const QStringList& tables);
    bool hasColumns(const QString& table, const QStringList& fields);
    bool hasDayCounts();
    bool hasDateIndex();
    void ensureDateIndex();
    static constexpr const char* kDateIndex = "IX_KVXGesendeteMails_Datum";
    void checkTable(const TTableCheck& check);
    void checkColumn(const QString& table, const QString& field, TFieldType type);
    void upgradeAdresse();
    void upgradeEmpfaenger();
    void upgradeGesendeteMails();
    void upgradeVorlage();
    void upgradeProgrammVorlageArt();
    void upgradeProgrammVorlage();
    void copyTextBlocksToTemplates();
    void FillTableKVXKategorie();
    void FillTableKVXRubrik();
    bool keepsDayCounts() const;

    TQMBDatabaseHandler& FDBHandler;
};

}  // namespace kalvex
