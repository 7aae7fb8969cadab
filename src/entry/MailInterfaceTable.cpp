#include "entry/MailInterfaceTable.h"

#include "entry/LastError.h"
#include "entry/TMail.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <cstring>

namespace kalvex {

namespace {

constexpr KGUID kKnownInterfaces[] = {
    KALVEX_IID_IUNKNOWN, KALVEX_IID_IEMAIL,   KALVEX_IID_IEMAILV2, KALVEX_IID_IEMAILV3,
    KALVEX_IID_IEMAILV4, KALVEX_IID_IEMAILV5, KALVEX_IID_IEMAILV6,
};

TMail* M(iEMailV6* self)
{
    return TMail::FromInterface(self);
}

QString T(KText text)
{
    return TextFromHost(text);
}

// IUnknown keeps COM's own error reporting: HRESULTs, no last error.
KHRESULT KALVEX_CALL queryInterface(iEMailV6* self, const KGUID* riid, void** object)
{
    if (!object || !riid)
        return KALVEX_E_POINTER;
    *object = nullptr;
    if (!IsKnownInterface(*riid))
        return KALVEX_E_NOINTERFACE;
    M(self)->AddRef();
    *object = self;
    return KALVEX_S_OK;
}

uint32_t KALVEX_CALL addRef(iEMailV6* self)
{
    return M(self)->AddRef();
}

uint32_t KALVEX_CALL release(iEMailV6* self)
{
    return Guarded<uint32_t>(0, [&] { return M(self)->Release(); });
}

// iEMail .. iEMailV4: the older forms append their defaults.
void KALVEX_CALL showVerteilerFormA(iEMailV6* self, uintptr_t h, KText dir, KText sek, KText betreff, KText body, KText empf,
                        KText weitere)
{
    GuardedVoid([&] {
        M(self)->ShowVerteilerForm(h, T(dir), T(sek), T(betreff), T(body), T(empf), T(weitere), TMail::DefaultLang,
                                   TMail::DefaultVersion);
    });
}

void KALVEX_CALL showVerteilerFormB(iEMailV6* self, uintptr_t h, KText dir, KText sek, KText betreff, KText body, KText empf,
                        KText weitere, int32_t lang)
{
    GuardedVoid([&] {
        M(self)->ShowVerteilerForm(h, T(dir), T(sek), T(betreff), T(body), T(empf), T(weitere), lang,
                                   TMail::DefaultVersion);
    });
}

void KALVEX_CALL showVerteilerFormC(iEMailV6* self, uintptr_t h, KText dir, KText sek, KText betreff, KText body, KText empf,
                        KText weitere, int32_t lang, int32_t version)
{
    GuardedVoid([&] {
        M(self)->ShowVerteilerForm(h, T(dir), T(sek), T(betreff), T(body), T(empf), T(weitere), lang, version);
    });
}

void KALVEX_CALL showLeerA(iEMailV6* self, uintptr_t h, KText dir, KText sek)
{
    GuardedVoid([&] {
        M(self)->ShowVerteilerFormLeer(h, T(dir), T(sek), TMail::DefaultLang, QString(), TMail::DefaultVersion);
    });
}

void KALVEX_CALL showLeerB(iEMailV6* self, uintptr_t h, KText dir, KText sek, int32_t lang)
{
    GuardedVoid([&] { M(self)->ShowVerteilerFormLeer(h, T(dir), T(sek), lang, QString(), TMail::DefaultVersion); });
}

void KALVEX_CALL showLeerC(iEMailV6* self, uintptr_t h, KText dir, KText sek, int32_t lang, KText start)
{
    GuardedVoid([&] { M(self)->ShowVerteilerFormLeer(h, T(dir), T(sek), lang, T(start), TMail::DefaultVersion); });
}

void KALVEX_CALL showLeerD(iEMailV6* self, uintptr_t h, KText dir, KText sek, int32_t lang, KText start, int32_t version)
{
    GuardedVoid([&] { M(self)->ShowVerteilerFormLeer(h, T(dir), T(sek), lang, T(start), version); });
}

void KALVEX_CALL showAdrA(iEMailV6* self, uintptr_t h, KText dir, KText sek, int32_t lang)
{
    GuardedVoid([&] { M(self)->ShowMailAdrVerwaltung(h, T(dir), T(sek), lang, TMail::DefaultAdrVersion); });
}

void KALVEX_CALL showAdrB(iEMailV6* self, uintptr_t h, KText dir, KText sek, int32_t lang, int32_t version)
{
    GuardedVoid([&] { M(self)->ShowMailAdrVerwaltung(h, T(dir), T(sek), lang, version); });
}

// iEMailV5
void KALVEX_CALL loadEMailListe(iEMailV6* self, IStream* s)
{
    GuardedVoid([&] { M(self)->LoadEMailListe(s); });
}

void KALVEX_CALL loadVorlageArtListe(iEMailV6* self, IStream* s)
{
    GuardedVoid([&] { M(self)->LoadVorlageArtListe(s); });
}

void KALVEX_CALL loadVorlageListe(iEMailV6* self, IStream* s)
{
    GuardedVoid([&] { M(self)->LoadVorlageListe(s); });
}

void KALVEX_CALL initInterface(iEMailV6* self, KText dbDir, KText dir, KText sek, int32_t version, uint8_t prog)
{
    GuardedVoid([&] { M(self)->InitInterface(T(dbDir), T(dir), T(sek), version, prog); });
}

void KALVEX_CALL setDatenfelder(iEMailV6* self, IStream* s)
{
    GuardedVoid([&] { M(self)->SetDatenfelder(s); });
}

uint8_t KALVEX_CALL vorlageArtVorhanden(iEMailV6* self, const KGUID* art)
{
    return Guarded<uint8_t>(0, [&] { return static_cast<uint8_t>(M(self)->VorlageArtVorhanden(GuidFromHost(art))); });
}

void KALVEX_CALL vorlageArtAnlegen(iEMailV6* self, const KGUID* art, KText nameDE, KText nameEN, KText beschrEN, KText beschrDE,
                       IStream* felder, int32_t version)
{
    GuardedVoid([&] {
        M(self)->VorlageArtAnlegen(GuidFromHost(art), T(nameDE), T(nameEN), T(beschrEN), T(beschrDE), felder, version);
    });
}

void KALVEX_CALL vorlageArtFelderAktualisieren(iEMailV6* self, const KGUID* art, IStream* felder, int32_t version)
{
    GuardedVoid([&] { M(self)->VorlageArtFelderAktualisieren(GuidFromHost(art), felder, version); });
}

int32_t KALVEX_CALL vorlageVorhanden(iEMailV6* self, const KGUID* vorlage)
{
    return Guarded<int32_t>(-1, [&] { return M(self)->VorlageVorhanden(GuidFromHost(vorlage)); });
}

void KALVEX_CALL vorlageAnlegen(iEMailV6* self, const KGUID* art, const KGUID* vorlage, KText nameDE, KText nameEN,
                    KText betreff, KText body, KText pfad, uint8_t isDefault)
{
    GuardedVoid([&] {
        M(self)->VorlageAnlegen(GuidFromHost(art), GuidFromHost(vorlage), T(nameDE), T(nameEN), T(betreff), T(body),
                                T(pfad), isDefault != 0);
    });
}

void KALVEX_CALL vorlageAktualisieren(iEMailV6* self, IStream* s)
{
    GuardedVoid([&] { M(self)->VorlageAktualisieren(s); });
}

void KALVEX_CALL vorlageLoeschen(iEMailV6* self, const KGUID* vorlage)
{
    GuardedVoid([&] { M(self)->VorlageLoeschen(GuidFromHost(vorlage)); });
}

void KALVEX_CALL vorlageArtUmbenennen(iEMailV6* self, const KGUID* art, KText name, int32_t lang)
{
    GuardedVoid([&] { M(self)->VorlageArtUmbenennen(GuidFromHost(art), T(name), lang); });
}

void KALVEX_CALL vorlageArtErweitern(iEMailV6* self, const KGUID* art, uint8_t prog)
{
    GuardedVoid([&] { M(self)->VorlageArtErweitern(GuidFromHost(art), prog); });
}

int32_t KALVEX_CALL vorlageArtFelderVersion(iEMailV6* self, const KGUID* art)
{
    return Guarded<int32_t>(-1, [&] { return M(self)->VorlageArtFelderVersion(GuidFromHost(art)); });
}

void KALVEX_CALL showVersion2(iEMailV6* self, uintptr_t h, int32_t lang, KText betreff, KText body, IStream* empf,
                  IStream* felder, KText anhaenge, KText artGuid, KText vorlageGuid, KGUID* selected)
{
    GuardedVoid([&] {
        QUuid chosen;
        M(self)->ShowVerteilerFormTemplate(h, lang, T(betreff), T(body), empf, felder, T(anhaenge), T(artGuid),
                                           T(vorlageGuid), &chosen);
        if (selected)
            *selected = GuidToHost(chosen);
    });
}

void KALVEX_CALL showAdrVersion2(iEMailV6* self, uintptr_t h, int32_t lang)
{
    GuardedVoid([&] { M(self)->ShowMailAdrVerwaltungVersion2(h, lang); });
}

// iEMailV6
int32_t KALVEX_CALL showVersion3(iEMailV6* self, uintptr_t h, int32_t lang, KText betreff, KText body, IStream* empf,
                     IStream* felder, KText anhaenge, KText artGuid, KText vorlageGuid)
{
    return Guarded<int32_t>(-1, [&] {
        return M(self)->ShowVerteilerFormTemplate(h, lang, T(betreff), T(body), empf, felder, T(anhaenge),
                                                  T(artGuid), T(vorlageGuid), nullptr);
    });
}

const iEMailV6Vtbl kVtbl = {
    queryInterface, addRef, release,
    showVerteilerFormA, showLeerA,
    showVerteilerFormB, showLeerB, showAdrA,
    showLeerC,
    showVerteilerFormC, showLeerD, showAdrB,
    loadEMailListe, loadVorlageArtListe, loadVorlageListe, initInterface, setDatenfelder, vorlageArtVorhanden,
    vorlageArtAnlegen, vorlageArtFelderAktualisieren, vorlageVorhanden, vorlageAnlegen, vorlageAktualisieren,
    vorlageLoeschen, vorlageArtUmbenennen, vorlageArtErweitern, vorlageArtFelderVersion, showVersion2,
    showAdrVersion2,
    showVersion3,
};

}  // namespace

const iEMailV6Vtbl* MailInterfaceVtbl()
{
    return &kVtbl;
}

// A high surrogate counts only with the low one right after it; anything
// else is a lone half, which becomes U+FFFD instead of taking a neighbour.
QString TextFromHost(const kx_char16* text)
{
    QString out;
    if (!text)
        return out;
    for (size_t i = 0; text[i]; ++i) {
        const char16_t c = static_cast<char16_t>(text[i]);   // WCHAR on Windows
        if (QChar::isHighSurrogate(c) && QChar::isLowSurrogate(static_cast<char16_t>(text[i + 1]))) {
            out += QChar(c);
            out += QChar(static_cast<char16_t>(text[++i]));
        } else {
            out += QChar::isSurrogate(c) ? QChar(QChar::ReplacementCharacter) : QChar(c);
        }
    }
    return out;
}

// A missing GUID would otherwise name the all-zero kind or template.
QUuid GuidFromHost(const KGUID* guid)
{
    if (!guid)
        throw EKalvex(Tx(4401, "Es wurde keine GUID übergeben (Nullzeiger)."));
    return QUuid(guid->Data1, guid->Data2, guid->Data3, guid->Data4[0], guid->Data4[1], guid->Data4[2],
                 guid->Data4[3], guid->Data4[4], guid->Data4[5], guid->Data4[6], guid->Data4[7]);
}

KGUID GuidToHost(const QUuid& guid)
{
    KGUID out{guid.data1, guid.data2, guid.data3, {}};
    std::memcpy(out.Data4, guid.data4, sizeof out.Data4);
    return out;
}

bool IsKnownInterface(const KGUID& iid)
{
    for (const KGUID& known : kKnownInterfaces)
        if (std::memcmp(&known, &iid, sizeof iid) == 0)
            return true;
    return false;
}

}  // namespace kalvex
