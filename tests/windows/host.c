/* A host written in C against kalvex.h only, the same source for both
   platforms: on Windows it loads kalvex.dll with LoadLibraryW and passes
   ole32's IStreams (CreateStreamOnHGlobal); on Linux it loads
   libkalvex.so with dlopen and passes the module's memory streams.

   It walks QueryInterface over the interface identities, creates the
   SQLite store in a data folder, registers a template kind with a field
   and a template, reopens the store with a new object, and writes every
   record stream it reads back into an output folder (kinds.bin,
   templates.bin, mails.bin, and the same after the reopening), so that a
   script can compare the two builds byte for byte.

   usage: kalvex-c-host <module> <data folder> <output folder> <config.ini>
   The installation (Regpath.ini beside this program, the registry values
   it names) is prepared by the caller; config.ini is where the common
   folder those values name keeps the module's switches. */
#ifdef _WIN32
#include <windows.h>
#include <objidl.h>
#else
#define _GNU_SOURCE
#include <dlfcn.h>
#endif
#include "kalvex/kalvex.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;
#define CHECK(cond)                                                                      \
    do {                                                                                 \
        if (!(cond)) {                                                                   \
            fprintf(stderr, "%s:%d: CHECK failed: %s\n", __FILE__, __LINE__, #cond);     \
            ++failures;                                                                  \
        }                                                                                \
    } while (0)

typedef void (KALVEX_CALL *GetFn)(iEMailV6**);
typedef KHRESULT (KALVEX_CALL *CreateStreamFn)(IStream**);
typedef const kx_char16* (KALVEX_CALL *LastErrorFn)(void);
typedef void (KALVEX_CALL *VoidFn)(void);

static LastErrorFn lastError;
static CreateStreamFn createModuleStream;

/* ---- what differs between the platforms: loading and streams ---- */

#ifdef _WIN32
static void* openModule(const char* path)
{
    wchar_t wide[MAX_PATH];
    MultiByteToWideChar(CP_UTF8, 0, path, -1, wide, MAX_PATH);
    return (void*)LoadLibraryW(wide);
}

static void* findExport(void* module, const char* name)
{
    return (void*)GetProcAddress((HMODULE)module, name);
}

/* The host's own stream, as a Windows host makes it. */
static IStream* newStream(void)
{
    IStream* s = NULL;
    CHECK(CreateStreamOnHGlobal(NULL, TRUE, &s) == S_OK);
    return s;
}

static void writeStream(IStream* s, const void* bytes, uint32_t n)
{
    ULONG written = 0;
    CHECK(s->lpVtbl->Write(s, bytes, n, &written) == S_OK && written == n);
}

static size_t readStream(IStream* s, unsigned char* out, size_t max)
{
    LARGE_INTEGER zero;
    zero.QuadPart = 0;
    ULONG got = 0;
    CHECK(s->lpVtbl->Seek(s, zero, STREAM_SEEK_SET, NULL) == S_OK);
    s->lpVtbl->Read(s, out, (ULONG)max, &got);
    return got;
}

static void releaseStream(IStream* s)
{
    s->lpVtbl->Release(s);
}
#else
static void* openModule(const char* path)
{
    void* module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!module)
        fprintf(stderr, "dlopen: %s\n", dlerror());
    return module;
}

static void* findExport(void* module, const char* name)
{
    return dlsym(module, name);
}

static IStream* newStream(void)
{
    IStream* s = NULL;
    CHECK(createModuleStream(&s) == KALVEX_S_OK);
    return s;
}

static void writeStream(IStream* s, const void* bytes, uint32_t n)
{
    uint32_t written = 0;
    CHECK(s->lpVtbl->Write(s, bytes, n, &written) == KALVEX_S_OK && written == n);
}

static size_t readStream(IStream* s, unsigned char* out, size_t max)
{
    uint32_t got = 0;
    CHECK(s->lpVtbl->Seek(s, 0, KALVEX_STREAM_SEEK_SET, NULL) == KALVEX_S_OK);
    s->lpVtbl->Read(s, out, (uint32_t)max, &got);
    return got;
}

static void releaseStream(IStream* s)
{
    s->lpVtbl->Release(s);
}
#endif

/* ---- texts ---- */

/* A host text from UTF-8 (enough for the Latin letters used here). */
static kx_char16* text(const char* utf8)
{
    static kx_char16 buffers[8][256];
    static int next = 0;
    kx_char16* out = buffers[next++ % 8];
    size_t n = 0;
    for (const unsigned char* p = (const unsigned char*)utf8; *p && n < 255;) {
        if (*p < 0x80) {
            out[n++] = *p++;
        } else {
            out[n++] = (kx_char16)(((p[0] & 0x1F) << 6) | (p[1] & 0x3F));
            p += 2;
        }
    }
    out[n] = 0;
    return out;
}

static size_t u16len(const kx_char16* s)
{
    size_t n = 0;
    while (s && s[n])
        ++n;
    return n;
}

static void reportLastError(const char* what)
{
    const kx_char16* e = lastError();
    if (!u16len(e))
        return;
    fprintf(stderr, "%s: ", what);
    for (size_t i = 0; e[i]; ++i)
        fputc(e[i] < 0x80 ? (int)e[i] : '?', stderr);
    fputc('\n', stderr);
    ++failures;
}

/* ---- record bytes the host writes ---- */

static unsigned char* putInt(unsigned char* p, int32_t v)
{
    uint32_t u = (uint32_t)v;
    for (int i = 0; i < 4; ++i)
        *p++ = (unsigned char)(u >> (8 * i));
    return p;
}

static unsigned char* putString(unsigned char* p, const char* utf8)
{
    const size_t n = strlen(utf8);
    p = putInt(p, (int32_t)n);
    memcpy(p, utf8, n);
    return p + n;
}

static const char kFieldGuid[] = "{5D1C0E11-6B7A-4E53-9C1E-2B6A8F3D4C21}";

/* A field catalogue with one simple field, named in German and English;
   every record, the nested ones too, starts with its version. */
static size_t felderRecord(unsigned char* out)
{
    unsigned char* p = putInt(out, 1);
    p = putInt(p, 1);
    p = putInt(p, 1);
    p = putString(p, kFieldGuid);
    p = putString(p, "");
    p = putInt(p, 2);
    p = putInt(p, 1031);
    p = putString(p, "Kundenname");
    p = putInt(p, 1033);
    p = putString(p, "Customer name");
    p = putInt(p, 1);
    p = putInt(p, 1031);
    p = putString(p, "Name des Kunden, \xC3\xBC" "berall gleich");
    p = putInt(p, 0);
    return (size_t)(p - out);
}

/* ---- the checks ---- */

static const KGUID kKind = {0x7A1B2C3Du, 0x4E5F, 0x4A6B, {0x8C, 0x9D, 0x0E, 0x1F, 0x2A, 0x3B, 0x4C, 0x5D}};
static const KGUID kTemplate = {0x1F2E3D4Cu, 0x5B6A, 0x4978, {0x86, 0x95, 0xA4, 0xB3, 0xC2, 0xD1, 0xE0, 0xF1}};

/* The layout both platforms' hosts rely on: COM's GUID and WCHAR on
   Windows, the stand-ins elsewhere. */
static void checkLayout(void)
{
    CHECK(sizeof(KGUID) == 16 && offsetof(KGUID, Data4) == 8);
    CHECK(sizeof(kx_char16) == 2);
    CHECK(sizeof(KHRESULT) == 4);
    CHECK(sizeof(IStreamVtbl) == 14 * sizeof(void*));
    CHECK(offsetof(iEMailV6Vtbl, ShowVerteilerForm) == 3 * sizeof(void*));
    CHECK(offsetof(iEMailV6Vtbl, LoadEMailListe) == 12 * sizeof(void*));
    CHECK(offsetof(iEMailV6Vtbl, ShowVerteilerFormVersion3) == 29 * sizeof(void*));
    CHECK(sizeof(iEMailV6Vtbl) == 30 * sizeof(void*));
}

static void checkQueryInterface(iEMailV6* mail)
{
    const KGUID known[] = {KALVEX_IID_IUNKNOWN, KALVEX_IID_IEMAIL,   KALVEX_IID_IEMAILV2, KALVEX_IID_IEMAILV3,
                           KALVEX_IID_IEMAILV4, KALVEX_IID_IEMAILV5, KALVEX_IID_IEMAILV6};
    for (size_t i = 0; i < sizeof known / sizeof known[0]; ++i) {
        void* obj = NULL;
        CHECK(mail->lpVtbl->QueryInterface(mail, &known[i], &obj) == KALVEX_S_OK);
        CHECK(obj == mail);
        CHECK(mail->lpVtbl->Release(mail) == 1);
    }
    const KGUID unknown = {0x12345678u, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    void* obj = (void*)1;
    CHECK(mail->lpVtbl->QueryInterface(mail, &unknown, &obj) == KALVEX_E_NOINTERFACE);
    CHECK(obj == NULL);
}

/* Writes the bytes a stream method gives into folder/name; returns the size. */
static size_t dump(iEMailV6* mail, void (KALVEX_CALL *method)(iEMailV6*, IStream*), const char* folder, const char* name,
                   unsigned char* bytes, size_t max)
{
    IStream* s = newStream();
    method(mail, s);
    reportLastError(name);
    const size_t n = readStream(s, bytes, max);
    releaseStream(s);
    char path[1024];
    snprintf(path, sizeof path, "%s/%s", folder, name);
    FILE* f = fopen(path, "wb");
    CHECK(f != NULL);
    if (f) {
        fwrite(bytes, 1, n, f);
        fclose(f);
    }
    return n;
}

static void initInterface(iEMailV6* mail, const char* dataFolder)
{
    mail->lpVtbl->InitInterface(mail, text(dataFolder), text(""), text(""), 2016, 1);
    reportLastError("InitInterface");
}

static void registerKindAndTemplate(iEMailV6* mail)
{
    CHECK(mail->lpVtbl->VorlageArtVorhanden(mail, &kKind) == 0);
    unsigned char felder[512];
    IStream* s = newStream();
    writeStream(s, felder, (uint32_t)felderRecord(felder));
    mail->lpVtbl->VorlageArtAnlegen(mail, &kKind, text("Rechnung"), text("Invoice"), text("Invoices to customers"),
                                    text("Rechnungen an Kunden"), s, 3);
    reportLastError("VorlageArtAnlegen");
    releaseStream(s);
    CHECK(mail->lpVtbl->VorlageArtVorhanden(mail, &kKind) == 1);

    mail->lpVtbl->VorlageAnlegen(mail, &kKind, &kTemplate, text("Mahnung"), text("Reminder"),
                                 text("Zahlungserinnerung f\xC3\xBCr <Kundenname>"),
                                 text("Guten Tag <Kundenname>, bitte zahlen Sie. Gr\xC3\xBC\xC3\x9F" "e"), text(""), 1);
    reportLastError("VorlageAnlegen");
}

struct Records {
    unsigned char kinds[8192], templates[8192], mails[8192];
    size_t kindsSize, templatesSize, mailsSize;
};

static void dumpRecords(iEMailV6* mail, const char* folder, const char* suffix, struct Records* r)
{
    char name[64];
    snprintf(name, sizeof name, "kinds%s.bin", suffix);
    r->kindsSize = dump(mail, mail->lpVtbl->LoadVorlageArtListe, folder, name, r->kinds, sizeof r->kinds);
    snprintf(name, sizeof name, "templates%s.bin", suffix);
    r->templatesSize = dump(mail, mail->lpVtbl->LoadVorlageListe, folder, name, r->templates, sizeof r->templates);
    snprintf(name, sizeof name, "mails%s.bin", suffix);
    r->mailsSize = dump(mail, mail->lpVtbl->LoadEMailListe, folder, name, r->mails, sizeof r->mails);
}

static void writeFile(const char* path, const char* content)
{
    FILE* f = fopen(path, "w");
    CHECK(f != NULL);
    if (f) {
        fputs(content, f);
        fclose(f);
    }
}

static int fileContains(const char* path, const char* needle)
{
    char buf[4096] = {0};
    FILE* f = fopen(path, "r");
    if (!f)
        return 0;
    const size_t n = fread(buf, 1, sizeof buf - 1, f);
    buf[n] = 0;
    fclose(f);
    return strstr(buf, needle) != NULL;
}

/* DoFinalize=0 in the common folder's config.ini skips the finalisation of
   one object's end and is written back to 1: the module found the folder
   through the installation's settings. */
static void checkDoFinalize(GetFn get, const char* configIni)
{
    writeFile(configIni, "[BVZugriff]\nDoFinalize=0\n");
    iEMailV6* mail = NULL;
    get(&mail);
    CHECK(mail != NULL);
    if (mail)
        CHECK(mail->lpVtbl->Release(mail) == 0);
    CHECK(fileContains(configIni, "DoFinalize=1"));
}

static int contains(const unsigned char* bytes, size_t n, const char* needle)
{
    const size_t m = strlen(needle);
    for (size_t i = 0; i + m <= n; ++i)
        if (memcmp(bytes + i, needle, m) == 0)
            return 1;
    return 0;
}

int main(int argc, char** argv)
{
    if (argc < 5) {
        fprintf(stderr, "usage: %s <module> <data folder> <output folder> <config.ini>\n", argv[0]);
        return 2;
    }
    void* module = openModule(argv[1]);
    if (!module) {
        fprintf(stderr, "cannot load %s\n", argv[1]);
        return 2;
    }
    const char* names[] = {"GetMailInterface",   "GetMailInterfaceV2", "GetMailInterfaceV3",
                           "GetMailInterfaceV4", "GetMailInterfaceV5", "GetMailInterfaceV6"};
    GetFn get[6];
    for (int i = 0; i < 6; ++i) {
        *(void**)&get[i] = findExport(module, names[i]);
        CHECK(get[i] != NULL);
    }
    VoidFn initFn, finalizeFn;
    *(void**)&createModuleStream = findExport(module, "KalvexCreateMemoryStream");
    *(void**)&lastError = findExport(module, "KalvexLastError");
    *(void**)&initFn = findExport(module, "init");
    *(void**)&finalizeFn = findExport(module, "finalize");
    if (!createModuleStream || !lastError || !initFn || !finalizeFn || failures)
        return 1;
#ifdef _WIN32
    CHECK(SUCCEEDED(CoInitializeEx(NULL, COINIT_APARTMENTTHREADED)));
#endif
    checkLayout();
    initFn();

    /* Every factory makes its own object, all with the one method table. */
    iEMailV6* objects[6] = {0};
    for (int i = 0; i < 6; ++i) {
        get[i](&objects[i]);
        CHECK(objects[i] != NULL && objects[i]->lpVtbl == objects[0]->lpVtbl);
        if (objects[i])
            checkQueryInterface(objects[i]);
    }
    /* Their ends finalise the UI library; the last object works on. */
    for (int i = 0; i < 5; ++i)
        CHECK(objects[i]->lpVtbl->Release(objects[i]) == 0);
    iEMailV6* mail = objects[5];

    /* A new store, a kind and a template in it. */
    struct Records first, reopened;
    initInterface(mail, argv[2]);
    registerKindAndTemplate(mail);
    dumpRecords(mail, argv[3], "", &first);
    CHECK(mail->lpVtbl->Release(mail) == 0);
    CHECK(contains(first.templates, first.templatesSize, "Zahlungserinnerung f\xC3\xBCr <Kundenname>"));
    CHECK(contains(first.templates, first.templatesSize, "Gr\xC3\xBC\xC3\x9F" "e"));

    /* The same store, opened by a new object, answers the same. */
    mail = NULL;
    get[5](&mail);
    initInterface(mail, argv[2]);
    CHECK(mail->lpVtbl->VorlageArtVorhanden(mail, &kKind) == 1);
    CHECK(mail->lpVtbl->VorlageArtFelderVersion(mail, &kKind) == 3);
    CHECK(mail->lpVtbl->VorlageVorhanden(mail, &kTemplate) >= 0);
    dumpRecords(mail, argv[3], "-reopened", &reopened);
    CHECK(first.kindsSize > 8 && first.kindsSize == reopened.kindsSize
          && memcmp(first.kinds, reopened.kinds, first.kindsSize) == 0);
    CHECK(first.templatesSize > 8 && first.templatesSize == reopened.templatesSize
          && memcmp(first.templates, reopened.templates, first.templatesSize) == 0);
    CHECK(first.mailsSize == reopened.mailsSize && memcmp(first.mails, reopened.mails, first.mailsSize) == 0);
    CHECK(mail->lpVtbl->Release(mail) == 0);

    checkDoFinalize(get[0], argv[4]);
    finalizeFn();
    if (failures)
        fprintf(stderr, "%d check(s) failed\n", failures);
    else
        printf("C host: all checks passed\n");
    return failures ? 1 : 0;
}
