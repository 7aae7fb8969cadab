#pragma once
// The one place where the module reads and writes its own store: it opens
// the store, brings the schema up to date, keeps the in-memory lists the
// windows and the host interface work on, and runs one fixed SQL text per
// application action through the handler.
//
// One process-wide instance (Instance/Install/Free); it owns the handler.

#include "config/KalvexError.h"
#include "db/BasedbClasses.h"
#include "mailinterface/uMailInterface.h"

#include <QUuid>
#include <functional>
#include <memory>
#include <vector>

namespace kalvex {

class IProcessWait;
class IUserMessages;

// The old Access store is there but could not be converted: the module
// does not open (an empty new store would hide the old mails and block
// every later conversion); the next start tries again.
class EStoreNotConverted : public EKalvex {
public:
    using EKalvex::EKalvex;
};

class TDatenModul {
public:
    // Opens the store: the log file, the connection settings (see
    // StoreSettingsSources; without any, kalvex.db in databaseFolder or the
    // common folder), the schema check, the lists. Raises EKalvex with the
    // connection message, or naming the key a server store lacks.
    // wait (may be null, not kept) shows the conversion of an old Access store;
    // messages (may be null, not kept) tells the user once per process that
    // the log file cannot be written (the module works on without it).
    // A failed conversion raises EStoreNotConverted and leaves no kalvex.db.
    explicit TDatenModul(const QString& databaseFolder = QString(), IProcessWait* wait = nullptr,
                         IUserMessages* messages = nullptr);
    ~TDatenModul();
    TDatenModul(const TDatenModul&) = delete;
    TDatenModul& operator=(const TDatenModul&) = delete;

    static TDatenModul* Instance();
    static TDatenModul& Install(std::unique_ptr<TDatenModul> module);
    static void Free();

    // A serverdboptions.ini and the section in it where the store's
    // connection settings may stand, in the order they are looked at.
    struct TStoreSettings {
        QString file;
        QString section;
    };
    static std::vector<TStoreSettings> StoreSettingsSources();
    // The installation's data folder (the registry value named in Regpath.ini).
    static QString GetServerDBIniPfadFromRegistry();

    TQMBDatabaseHandler& Handler() { return *FDBHandler; }
    const TQMBDatabaseConfig& Config() const { return FConfig; }

    // Sent mails and drafts. Without withAttachmentContent only what a list
    // shows (no bodies, attachments' paths and sizes); with it everything
    // (the host's stream of the log).
    void LoadEMailListeFromDB(bool withAttachmentContent = false);
    // The plain texts of the loaded list's drafts (the draft list shows their start).
    void LoadDraftTexts();
    // One mail with its bodies, its recipients and its attachments' paths and
    // sizes (contents only when asked); null when there is no mail with that ID.
    std::unique_ptr<TEMail> LoadEMail(int32_t mailId, bool withAttachmentContent = false);
    void SaveEMail(TEMail& mail, TMailStatus status);   // one transaction; adds nothing to the list
    // The largest attachment the store takes (-1: no limit), and the check
    // a sender runs before a mail goes out that could not be logged.
    qint64 MaxBlobSize() { return FDBHandler->MaxBlobSize(); }
    void CheckAttachmentsFit(const TEMail& mail);
    void DeleteEMail(int32_t mailId);                   // one transaction
    QByteArray AnhangOeffnen(const QString& path);
    // One stored attachment's content by its ID (empty when there is none),
    // read when it is opened or saved from a mail shown.
    QByteArray AnhangInhalt(int32_t attachmentId);
    // Writes a stored attachment below Common04/KVXIni/Temp/ (base name
    // only) and opens it with the desktop's open action; returns the path.
    QString AnhangOeffnenUndAnzeigen(const QString& path);

    // The working list of recipients of the distribution window.
    void InsertTempEmpf(const QString& address, const QString& name, const QString& company, int32_t adressDbId);

    // Program template kinds and templates.
    void LoadProgrammVorlageArtListeFromDB();
    void SaveProgrammVorlageArt(TProgrammVorlageArt& kind, bool isNew);
    void LoadProgrammVorlageListeFromDB(const QUuid& art = QUuid());
    void SaveProgrammVorlage(TProgrammVorlage& vorlage, bool isNew);
    void DeleteProgrammVorlage(const QUuid& vorlage);
    void SetListLanguage(int32_t lang);

    // The host's template operations.
    void EnsureGeneralKind();
    void VorlageArtAnlegen(const QUuid& art, const QString& nameDE, const QString& nameEN, const QString& beschreibungEN,
                           const QString& beschreibungDE, TFelder felder, int32_t felderVersion, bool generalKind = false);
    void VorlageArtFelderAktualisieren(const QUuid& art, TFelder felder, int32_t felderVersion);
    int32_t VorlageArtFelderVersion(const QUuid& art);
    void VorlageArtErweitern(const QUuid& art, int progId);
    void VorlageArtUmbenennen(const QUuid& art, const QString& name, int32_t lang);
    int32_t VorlageVorhanden(const QUuid& vorlage);
    void VorlageAnlegen(const QUuid& art, const QUuid& vorlage, const QString& nameDE, const QString& nameEN,
                        const QString& betreff, const QString& body, const QString& pfad, bool isDefault);
    void VorlageAktualisieren(const TProgrammVorlage& source);
    void VorlageLoeschen(const QUuid& vorlage);

    TEMailListe FEMailListe;
    TProgrammVorlageArtListe FProgrammVorlageArtListe;
    TProgrammVorlageListe FProgrammVorlageListe;
    TFelder FFelder;
    int FOrvanProgID = -1;   // the running host program; -1 until InitInterface
    QString FDatenPfad;

private:
    void openStore(const QString& databaseFolder, IProcessWait* wait, IUserMessages* messages);
    static void openLog(const QString& commonPath, IUserMessages* messages);
    static QString converterProgram();
    bool convertOldAccessStore(IProcessWait* wait);   // true when it wrote kalvex.db
    bool convertOldAccessStoreFor(IProcessWait* wait);
    // Raises EStoreNotConverted (and removes db) when the converter fails.
    static void runConverter(const QString& program, const QString& mdb, const QString& db, IProcessWait* wait);
    // Where the module's temporary files go: below a file store's folder,
    // for a server store (whose host name is no folder) in the user's cache.
    QString dataFolder() const;
    TQMBDatabaseConfig readConfig(const QString& databaseFolder) const;
    static TQMBDatabaseConfig loadConfig(const TStoreSettings& source, const TQMBDatabaseConfig& defaults);
    static void completeSQLiteConfig(TQMBDatabaseConfig& dbConfig, const TStoreSettings& source,
                                     const TQMBDatabaseConfig& defaults);
    static void requireStoreKeys(const TQMBDatabaseConfig& dbConfig, const TStoreSettings& source);
    // Where the mail columns are in a result, found once for all its rows.
    struct TMailColumns {
        TMailColumns(const TRowReader& rows, bool withTexts);
        int id, betreff, datum, mailStatus, status, gesendetDurch, seperatSenden, rtf, plain;
    };
    static void readMail(const TRowReader& rows, const TMailColumns& columns, TEMail& mail);
    static void readRecipients(TRowReader& rows, const QHash<int32_t, TEMail*>& byId);
    QString attachmentListSql(const QString& where) const;
    static void readAttachments(TRowReader& rows, const QHash<int32_t, TEMail*>& byId, bool withContent);
    void saveAttachment(qint64 mailId, const QString& path);
    void inTransaction(const std::function<void()>& work);
    void saveProgIDs(const TProgrammVorlageArt& kind);

    TQMBDatabaseConfig FConfig;
    std::unique_ptr<TQMBDatabaseHandler> FDBHandler;
};

}  // namespace kalvex
