#include "db/BasedbClasses.h"
#include "db/sqlite/SQLiteStore.h"

namespace kalvex {

void RegisterBuiltInStores()
{
    static const bool done = [] {
        TQMBDatabaseFactory::RegisterDatabaseClass(QStringLiteral("TQMBSQLiteDatabase"), [](const TQMBDatabaseConfig& c) {
            return std::make_unique<TQMBSQLiteDatabase>(c);
        });
        TQMBDatabaseFactory::RegisterHandlerClass(
            QStringLiteral("TQMBSQLiteDatabaseHandler"),
            [](std::unique_ptr<TQMBDatabase> db, const QString& prefix, int count) -> std::unique_ptr<TQMBDatabaseHandler> {
                return std::make_unique<TQMBSQLiteDatabaseHandler>(std::move(db), prefix, count);
            });
        return true;
    }();
    (void)done;
}

}  // namespace kalvex
