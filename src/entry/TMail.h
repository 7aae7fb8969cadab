#pragma once
// The object a host holds: every method of iEMail .. iEMailV6. It keeps
// almost no state of its own; it creates and wires the process-wide
// objects (configuration, translations, data module) for each call.
//
// Lifetime: created by the GetMailInterface exports with one reference;
// freed when the host releases the last one (see MailInterfaceTable).
// The process-wide objects outlive every object but the last one.

#include "kalvex/kalvex.h"
#include "mailinterface/uMailInterface.h"

#include <QString>
#include <QUuid>
#include <atomic>
#include <functional>
#include <memory>

namespace kalvex {

class TAdressDB;
class TDatenModul;

// Splits the host's recipients text at ";" into trimmed, non-empty pieces.
QStringList SplitRecipientsText(const QString& text);
// Splits the host's attachments text at ";" into trimmed, non-empty paths.
QStringList SplitAttachmentsText(const QString& text);
// An empty text is the all-zero GUID; anything else must parse.
QUuid ParseGuidText(const QString& text);

class TMail {
public:
    static constexpr int32_t DefaultLang = 1031;
    static constexpr int32_t DefaultVersion = 2016;
    static constexpr int32_t DefaultAdrVersion = 2021;

    TMail();
    ~TMail();
    TMail(const TMail&) = delete;
    TMail& operator=(const TMail&) = delete;

    iEMailV6* Interface() { return &FCom.iface; }
    static TMail* FromInterface(iEMailV6* iface);
    uint32_t AddRef() { return ++FRefCount; }
    uint32_t Release();

    // Window-opening methods (newest forms; the older ones forward).
    void ShowVerteilerForm(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                           const QString& betreff, const QString& body, const QString& empfaenger,
                           const QString& weitere, int32_t lang, int32_t version);
    void ShowVerteilerFormLeer(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                               int32_t lang, const QString& startText, int32_t version);
    void ShowMailAdrVerwaltung(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                               int32_t lang, int32_t version);
    void ShowMailAdrVerwaltungVersion2(uintptr_t appHandle, int32_t lang);
    // Returns the window's exit code; selected receives the chosen template.
    int32_t ShowVerteilerFormTemplate(uintptr_t appHandle, int32_t lang, const QString& betreff, const QString& body,
                                      IStream* empfaenger, IStream* datenfelder, const QString& anhaenge,
                                      const QString& artGuid, const QString& vorlageGuid, QUuid* selected);

    // Data and template methods (InitInterface first).
    void InitInterface(const QString& databaseFolder, const QString& serverDBIniDir, const QString& sektionsName,
                       int32_t version, uint8_t orvanProgID);
    void SetDatenfelder(IStream* stream);
    void LoadEMailListe(IStream* stream);
    void LoadVorlageArtListe(IStream* stream);
    void LoadVorlageListe(IStream* stream);
    bool VorlageArtVorhanden(const QUuid& art);
    void VorlageArtAnlegen(const QUuid& art, const QString& nameDE, const QString& nameEN,
                           const QString& beschreibungEN, const QString& beschreibungDE, IStream* felder,
                           int32_t felderVersion);
    void VorlageArtFelderAktualisieren(const QUuid& art, IStream* felder, int32_t felderVersion);
    int32_t VorlageArtFelderVersion(const QUuid& art);
    void VorlageArtErweitern(const QUuid& art, uint8_t orvanProgID);
    void VorlageArtUmbenennen(const QUuid& art, const QString& name, int32_t lang);
    int32_t VorlageVorhanden(const QUuid& vorlage);
    void VorlageAnlegen(const QUuid& art, const QUuid& vorlage, const QString& nameDE, const QString& nameEN,
                        const QString& betreff, const QString& body, const QString& pfad, bool isDefault);
    void VorlageAktualisieren(IStream* stream);
    void VorlageLoeschen(const QUuid& vorlage);

    bool DoFinalize() const { return doFinalize; }
    int32_t LanguageCode() const { return FLanguageCode; }

private:
    struct ComObject {
        iEMailV6 iface;   // first member: the host's pointer is this object
        TMail* owner;
    };

    void prepare(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                 int32_t lang, int32_t version);
    void setLanguage(int32_t lang);
    void openAdressDB();
    void cleanup();
    void readDoFinalize();
    static TDatenModul& requireDatenModul();
    static std::unique_ptr<TDatenModul> openDatenModul(const QString& databaseFolder);
    static TFelder readFelder(IStream* stream, const QUuid& art);
    static void writeRecord(IStream* stream, const std::function<void(TStreamWriter&)>& write);
    void finalizeOrSkipOnce();
    static std::atomic<int>& liveObjects();

    ComObject FCom;
    std::unique_ptr<TAdressDB> FAdressDBWrapper;   // lives for one window-opening call
    TFelder FFelder;                                // the host's data fields (SetDatenfelder)
    std::atomic<uint32_t> FRefCount{1};
    bool doFinalize = true;
    int32_t FLanguageCode = DefaultLang;
    uintptr_t FSavedAppHandle = 0;
};

}  // namespace kalvex
