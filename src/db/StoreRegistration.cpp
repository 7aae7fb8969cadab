#include "db/BasedbClasses.h"
#include "db/mariadb/MariaDBStore.h"
#include "db/odbc/OdbcStores.h"
#include "db/sqlite/SQLiteStore.h"

namespace kalvex {

namespace {

template <class Database, class Handler>
void registerStore(const char* databaseClass, const char* handlerClass)
{
    TQMBDatabaseFactory::RegisterDatabaseClass(QString::fromLatin1(databaseClass), [](const TQMBDatabaseConfig& c) {
        return std::make_unique<Database>(c);
    });
    TQMBDatabaseFactory::RegisterHandlerClass(
        QString::fromLatin1(handlerClass),
        [](std::unique_ptr<TQMBDatabase> db, const QString& prefix, int count) -> std::unique_ptr<TQMBDatabaseHandler> {
            return std::make_unique<Handler>(std::move(db), prefix, count);
        });
}

}  // namespace

void RegisterBuiltInStores()
{
    static const bool done = [] {
        registerStore<TQMBSQLiteDatabase, TQMBSQLiteDatabaseHandler>("TQMBSQLiteDatabase", "TQMBSQLiteDatabaseHandler");
        registerStore<TQMBMariaDBDatabase, TQMBMariaDBDataBaseHandler>("TQMBMariaDBDatabase", "TQMBMariaDBDataBaseHandler");
        RegisterOdbcStores();
        return true;
    }();
    (void)done;
}

}  // namespace kalvex
