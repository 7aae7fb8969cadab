/*
 * kalvex.h - the contract between host programs and the module
 * (libkalvex.so on Linux, kalvex.dll on Windows).
 *
 * Calling convention: every export and every method slot is KALVEX_CALL,
 * which is stdcall (STDMETHODCALLTYPE) on 32-bit Windows, as COM hosts
 * declare interface methods (a Delphi host declares them "stdcall"), and
 * the platform's only convention elsewhere.
 *
 * C, fixed-width types only; usable from C and C++. On Windows IStream,
 * GUID (KGUID), HRESULT (KHRESULT) and WCHAR (kx_char16) are COM's own
 * from <windows.h> and <objidl.h>; elsewhere this header declares
 * stand-ins with the same layout.
 *
 * Ownership and lifetime
 * - GetMailInterface .. GetMailInterfaceV6 store a NEW reference to a new
 *   mail object in *result. A non-null old value in *result is released
 *   first (as a Pascal interface assignment does). The host releases the
 *   reference with lpVtbl->Release when done; the object frees itself when
 *   the last reference goes.
 * - All six interface levels are served by one object and one method table:
 *   a pointer of any level is the same pointer, and QueryInterface answers
 *   the six interface GUIDs and IUnknown's with it.
 * - Strings passed in are null-terminated UTF-16 (char16_t); a null pointer
 *   is the empty string. The module copies what it keeps; it never frees a
 *   host's string.
 * - Streams (IStream*) belong to the caller. The module reads or writes them
 *   from position 0, calling only Seek, Read, Write and SetSize. A null
 *   stream is ignored where the method allows it.
 * - KalvexCreateMemoryStream gives the host an in-memory stream with a
 *   reference count of 1; release it with lpVtbl->Release.
 *
 * Errors
 * - No C++ exception crosses this boundary. A method that fails keeps the
 *   (German or English) user message as the calling thread's last error and
 *   returns its not-found value (-1, 0/false, or nothing).
 *   KalvexLastError() returns that message, or "" after a call that
 *   succeeded. The pointer stays valid until the next call into the module
 *   on the same thread.
 *
 * Threads: call everything from the host's UI thread.
 */
#ifndef KALVEX_KALVEX_H
#define KALVEX_KALVEX_H

#include <stdint.h>

#ifdef _WIN32
/* Windows: COM's own types, so that a host's declarations (C, C++, Delphi)
   of IStream, GUID and HRESULT are the very ones passed here. */
#include <windows.h>
#include <objidl.h>
#endif

#ifdef __cplusplus
#include <cstddef>
extern "C" {
#elif !defined(_WIN32)
#include <uchar.h>
#endif

#ifdef _WIN32
/* The exports are named by kalvex.def; 16-bit wide strings as WCHAR. */
#define KALVEX_API
#define KALVEX_CALL STDMETHODCALLTYPE
typedef WCHAR kx_char16;
typedef GUID KGUID;
typedef HRESULT KHRESULT;
typedef STATSTG KSTATSTG;
#else
#if defined(__GNUC__)
#define KALVEX_API __attribute__((visibility("default")))
#else
#define KALVEX_API
#endif
#define KALVEX_CALL
typedef char16_t kx_char16;

/* A GUID as the Windows hosts lay it out: 16 bytes. */
typedef struct KGUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
} KGUID;

typedef int32_t KHRESULT;
#endif

#define KALVEX_S_OK ((KHRESULT)0)
#define KALVEX_S_FALSE ((KHRESULT)1)
#define KALVEX_E_NOINTERFACE ((KHRESULT)0x80004002)
#define KALVEX_E_POINTER ((KHRESULT)0x80004003)
#define KALVEX_E_FAIL ((KHRESULT)0x80004005)
#define KALVEX_E_NOTIMPL ((KHRESULT)0x80004001)
#define KALVEX_STG_E_INVALIDFUNCTION ((KHRESULT)0x80030001)
#define KALVEX_STG_E_MEDIUMFULL ((KHRESULT)0x80030070)

/* Seek origins of IStream::Seek. */
#define KALVEX_STREAM_SEEK_SET 0u
#define KALVEX_STREAM_SEEK_CUR 1u
#define KALVEX_STREAM_SEEK_END 2u

#ifndef _WIN32
/* STATSTG with the Windows layout (FILETIMEs as 64-bit values). */
typedef struct KSTATSTG {
    kx_char16* pwcsName;
    uint32_t type;
    uint64_t cbSize;
    uint64_t mtime;
    uint64_t ctime;
    uint64_t atime;
    uint32_t grfMode;
    uint32_t grfLocksSupported;
    KGUID clsid;
    uint32_t grfStateBits;
    uint32_t reserved;
} KSTATSTG;

typedef struct IStream IStream;

/* COM IStream, slot for slot. */
typedef struct IStreamVtbl {
    KHRESULT (KALVEX_CALL *QueryInterface)(IStream* self, const KGUID* riid, void** object);
    uint32_t (KALVEX_CALL *AddRef)(IStream* self);
    uint32_t (KALVEX_CALL *Release)(IStream* self);
    KHRESULT (KALVEX_CALL *Read)(IStream* self, void* buffer, uint32_t count, uint32_t* read);
    KHRESULT (KALVEX_CALL *Write)(IStream* self, const void* buffer, uint32_t count, uint32_t* written);
    KHRESULT (KALVEX_CALL *Seek)(IStream* self, int64_t move, uint32_t origin, uint64_t* newPosition);
    KHRESULT (KALVEX_CALL *SetSize)(IStream* self, uint64_t newSize);
    KHRESULT (KALVEX_CALL *CopyTo)(IStream* self, IStream* target, uint64_t count, uint64_t* read, uint64_t* written);
    KHRESULT (KALVEX_CALL *Commit)(IStream* self, uint32_t flags);
    KHRESULT (KALVEX_CALL *Revert)(IStream* self);
    KHRESULT (KALVEX_CALL *LockRegion)(IStream* self, uint64_t offset, uint64_t count, uint32_t lockType);
    KHRESULT (KALVEX_CALL *UnlockRegion)(IStream* self, uint64_t offset, uint64_t count, uint32_t lockType);
    KHRESULT (KALVEX_CALL *Stat)(IStream* self, KSTATSTG* stat, uint32_t flags);
    KHRESULT (KALVEX_CALL *Clone)(IStream* self, IStream** clone);
} IStreamVtbl;

struct IStream {
    const IStreamVtbl* lpVtbl;
};
#endif

/* Interface identities. */
#define KALVEX_IID_IUNKNOWN  {0x00000000u, 0x0000u, 0x0000u, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}}
#define KALVEX_IID_IEMAIL    {0x0F637C8Au, 0xF91Au, 0x4C32u, {0x82, 0x2D, 0xB6, 0xD1, 0x69, 0x7C, 0x91, 0x46}}
#define KALVEX_IID_IEMAILV2  {0x03FB9C37u, 0x1DF5u, 0x4C59u, {0xB6, 0x1B, 0x1C, 0xCC, 0x44, 0xBF, 0xE8, 0xE4}}
#define KALVEX_IID_IEMAILV3  {0x003AC959u, 0x748Bu, 0x4E73u, {0xB2, 0x4B, 0x5D, 0x98, 0xDB, 0xB1, 0xE2, 0x58}}
#define KALVEX_IID_IEMAILV4  {0x90AA70DCu, 0x4178u, 0x4927u, {0xB6, 0xD8, 0x0F, 0x72, 0x7A, 0x2E, 0xCD, 0xAA}}
#define KALVEX_IID_IEMAILV5  {0x308947C2u, 0xD1A4u, 0x4980u, {0xA6, 0x87, 0xF1, 0x03, 0xCB, 0x00, 0xC1, 0x83}}
#define KALVEX_IID_IEMAILV6  {0x9C36A0B5u, 0x7065u, 0x4775u, {0x93, 0xE8, 0x42, 0xC6, 0x67, 0x3D, 0xF0, 0xAA}}

typedef struct iEMailV6 iEMailV6;
typedef const kx_char16* KText;

/*
 * The method table of iEMail .. iEMailV6, in slot order. Each level adds its
 * methods at the end; the older overloads forward to the newer ones with the
 * appended defaults (Lang 1031, Version 2016; 2021 for address management).
 */
typedef struct iEMailV6Vtbl {
    /* IUnknown */
    KHRESULT (KALVEX_CALL *QueryInterface)(iEMailV6* self, const KGUID* riid, void** object);
    uint32_t (KALVEX_CALL *AddRef)(iEMailV6* self);
    uint32_t (KALVEX_CALL *Release)(iEMailV6* self);

    /* iEMail */
    void (KALVEX_CALL *ShowVerteilerForm)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                              KText Betreff, KText Body, KText Empfaenger, KText Weitere);
    void (KALVEX_CALL *ShowVerteilerFormLeer)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName);

    /* iEMailV2 */
    void (KALVEX_CALL *ShowVerteilerForm_B)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                                KText Betreff, KText Body, KText Empfaenger, KText Weitere, int32_t Lang);
    void (KALVEX_CALL *ShowVerteilerFormLeer_B)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                                    int32_t Lang);
    void (KALVEX_CALL *ShowMailAdrVerwaltung)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                                  int32_t Lang);

    /* iEMailV3 */
    void (KALVEX_CALL *ShowVerteilerFormLeer_C)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                                    int32_t Lang, KText StartText);

    /* iEMailV4 */
    void (KALVEX_CALL *ShowVerteilerForm_C)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                                KText Betreff, KText Body, KText Empfaenger, KText Weitere, int32_t Lang,
                                int32_t Version);
    void (KALVEX_CALL *ShowVerteilerFormLeer_D)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                                    int32_t Lang, KText StartText, int32_t Version);
    void (KALVEX_CALL *ShowMailAdrVerwaltung_B)(iEMailV6* self, uintptr_t AppHandle, KText ServerDBIniDir, KText SektionsName,
                                    int32_t Lang, int32_t Version);

    /* iEMailV5 (InitInterface first) */
    void (KALVEX_CALL *LoadEMailListe)(iEMailV6* self, IStream* stream);
    void (KALVEX_CALL *LoadVorlageArtListe)(iEMailV6* self, IStream* stream);
    void (KALVEX_CALL *LoadVorlageListe)(iEMailV6* self, IStream* stream);
    void (KALVEX_CALL *InitInterface)(iEMailV6* self, KText DatabaseFolder, KText ServerDBIniDir, KText SektionsName,
                          int32_t Version, uint8_t OrvanProgID);
    void (KALVEX_CALL *SetDatenfelder)(iEMailV6* self, IStream* stream);
    uint8_t (KALVEX_CALL *VorlageArtVorhanden)(iEMailV6* self, const KGUID* Art);
    void (KALVEX_CALL *VorlageArtAnlegen)(iEMailV6* self, const KGUID* Art, KText NameDE, KText NameEN, KText BeschreibungEN,
                              KText BeschreibungDE, IStream* Felder, int32_t FelderVersion);
    void (KALVEX_CALL *VorlageArtFelderAktualisieren)(iEMailV6* self, const KGUID* Art, IStream* Felder, int32_t FelderVersion);
    int32_t (KALVEX_CALL *VorlageVorhanden)(iEMailV6* self, const KGUID* Vorlage);
    void (KALVEX_CALL *VorlageAnlegen)(iEMailV6* self, const KGUID* Art, const KGUID* Vorlage, KText NameDE, KText NameEN,
                           KText Betreff, KText Body, KText VorlagePfad, uint8_t IsDefault);
    void (KALVEX_CALL *VorlageAktualisieren)(iEMailV6* self, IStream* Vorlage);
    void (KALVEX_CALL *VorlageLoeschen)(iEMailV6* self, const KGUID* Vorlage);
    void (KALVEX_CALL *VorlageArtUmbenennen)(iEMailV6* self, const KGUID* Art, KText Name, int32_t Lang);
    void (KALVEX_CALL *VorlageArtErweitern)(iEMailV6* self, const KGUID* Art, uint8_t OrvanProgID);
    int32_t (KALVEX_CALL *VorlageArtFelderVersion)(iEMailV6* self, const KGUID* Art);
    /* *SelectedVorlage receives the template chosen in the window when it
       closed, the all-zero GUID when none was chosen. */
    void (KALVEX_CALL *ShowVerteilerFormVersion2)(iEMailV6* self, uintptr_t AppHandle, int32_t Lang, KText Betreff, KText Body,
                                      IStream* Empfaenger, IStream* Datenfelder, KText Anhaenge, KText VorlageArtGUID,
                                      KText VorlageGUID, KGUID* SelectedVorlage);
    void (KALVEX_CALL *ShowMailAdrVerwaltungVersion2)(iEMailV6* self, uintptr_t AppHandle, int32_t Lang);

    /* iEMailV6. Returns one of the KALVEX_EXIT_* codes below, or -1 when
       the window could not be opened (KalvexLastError says why). */
    int32_t (KALVEX_CALL *ShowVerteilerFormVersion3)(iEMailV6* self, uintptr_t AppHandle, int32_t Lang, KText Betreff,
                                         KText Body, IStream* Empfaenger, IStream* Datenfelder, KText Anhaenge,
                                         KText VorlageArtGUID, KText VorlageGUID);
} iEMailV6Vtbl;

struct iEMailV6 {
    const iEMailV6Vtbl* lpVtbl;
};

/* What ShowVerteilerFormVersion3 returns, counted over every send of the
   window's session (a separate run counts each of its mails). */
#define KALVEX_EXIT_CLOSED 0               /* nothing was sent: closed, or drafts only */
#define KALVEX_EXIT_SENT 1                 /* every mail the user sent went out */
#define KALVEX_EXIT_SENT_WITH_FAILURES 2   /* some mails went out, others failed or were cancelled */
#define KALVEX_EXIT_NOT_SENT 3             /* sending was tried, nothing went out */

/* Every level is the same object; these names say which level a host means. */
typedef iEMailV6 iEMail;
typedef iEMailV6 iEMailV2;
typedef iEMailV6 iEMailV3;
typedef iEMailV6 iEMailV4;
typedef iEMailV6 iEMailV5;

/* Exports. */
KALVEX_API void KALVEX_CALL GetMailInterface(iEMailV6** result);
KALVEX_API void KALVEX_CALL GetMailInterfaceV2(iEMailV6** result);
KALVEX_API void KALVEX_CALL GetMailInterfaceV3(iEMailV6** result);
KALVEX_API void KALVEX_CALL GetMailInterfaceV4(iEMailV6** result);
KALVEX_API void KALVEX_CALL GetMailInterfaceV5(iEMailV6** result);
KALVEX_API void KALVEX_CALL GetMailInterfaceV6(iEMailV6** result);

/* Creates a Qt application object when the host process has none (argv
   empty); finalize destroys the one that init created. A Qt host keeps its
   own. */
KALVEX_API void KALVEX_CALL init(void);
KALVEX_API void KALVEX_CALL finalize(void);

KALVEX_API KHRESULT KALVEX_CALL KalvexCreateMemoryStream(IStream** result);  /* KALVEX_S_OK on success */
KALVEX_API const kx_char16* KALVEX_CALL KalvexLastError(void);               /* "" after success */

#ifdef __cplusplus
}
#endif

#endif /* KALVEX_KALVEX_H */
