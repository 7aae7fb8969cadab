/*
 * A host in plain C that uses the installed Kalvex: it opens the module on a
 * data folder, registers a template kind and lists the kinds the store
 * holds. Build it with pkg-config or CMake (see README.md in this folder).
 *
 *     kalvex-template-kinds <data folder>
 */
#include <kalvex/kalvex.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The host's own template kind: "Beispiel" {5A1C0E2B-7D4F-4E8A-9B3C-2F6D8E0A1B47}. */
static const KGUID kExampleKind = {0x5A1C0E2Bu, 0x7D4Fu, 0x4E8Au, {0x9B, 0x3C, 0x2F, 0x6D, 0x8E, 0x0A, 0x1B, 0x47}};

/* UTF-16 from ASCII or UTF-8 without multibyte characters (paths here). */
static kx_char16* widen(const char* text)
{
    size_t n = strlen(text);
    kx_char16* out = calloc(n + 1, sizeof *out);
    for (size_t i = 0; out && i < n; ++i)
        out[i] = (unsigned char)text[i];
    return out;
}

/* Prints the module's last error; returns 1 when there was one. */
static int failed(const char* call)
{
    const kx_char16* error = KalvexLastError();
    if (!error || !error[0])
        return 0;
    fprintf(stderr, "%s: ", call);
    for (; *error; ++error)
        fputc(*error < 128 ? (int)*error : '?', stderr);
    fputc('\n', stderr);
    return 1;
}

static IStream* newStream(void)
{
    IStream* stream = NULL;
    return KalvexCreateMemoryStream(&stream) == KALVEX_S_OK ? stream : NULL;
}

static void writeInt(IStream* stream, int32_t value)
{
    unsigned char bytes[4] = {(unsigned char)value, (unsigned char)(value >> 8), (unsigned char)(value >> 16),
                              (unsigned char)(value >> 24)};
    uint32_t written = 0;
    stream->lpVtbl->Write(stream, bytes, sizeof bytes, &written);
}

static int readInt(IStream* stream, int32_t* value)
{
    unsigned char b[4];
    uint32_t got = 0;
    if (stream->lpVtbl->Read(stream, b, sizeof b, &got) != KALVEX_S_OK || got != sizeof b)
        return 0;
    *value = (int32_t)((uint32_t)b[0] | (uint32_t)b[1] << 8 | (uint32_t)b[2] << 16 | (uint32_t)b[3] << 24);
    return 1;
}

/* A GUID in the stream: byte count, then the braced text. */
static int readGuidText(IStream* stream, char* text, size_t size)
{
    int32_t length = 0;
    uint32_t got = 0;
    if (!readInt(stream, &length) || length < 0 || (size_t)length >= size)
        return 0;
    if (stream->lpVtbl->Read(stream, text, (uint32_t)length, &got) != KALVEX_S_OK || got != (uint32_t)length)
        return 0;
    text[length] = 0;
    return 1;
}

/* The kind's fields: version 1, no simple fields, no repeat blocks. */
static IStream* emptyFields(void)
{
    IStream* fields = newStream();
    if (fields) {
        writeInt(fields, 1);
        writeInt(fields, 0);
        writeInt(fields, 0);
    }
    return fields;
}

static int registerKind(iEMailV6* mail)
{
    if (mail->lpVtbl->VorlageArtVorhanden(mail, &kExampleKind))
        return 0;
    IStream* fields = emptyFields();
    if (!fields)
        return 1;
    mail->lpVtbl->VorlageArtAnlegen(mail, &kExampleKind, u"Beispiel", u"Example", u"An example kind",
                                   u"Eine Beispielart", fields, 1);
    fields->lpVtbl->Release(fields);
    return failed("VorlageArtAnlegen");
}

/* The kind list: version, count, then per kind version, GUID, program ids
   and fields version. Prints each kind; returns how many were listed, or -1. */
static int listKinds(iEMailV6* mail)
{
    IStream* list = newStream();
    if (!list)
        return -1;
    mail->lpVtbl->LoadVorlageArtListe(mail, list);
    list->lpVtbl->Seek(list, 0, KALVEX_STREAM_SEEK_SET, NULL);
    int32_t version = 0, count = -1;
    int listed = readInt(list, &version) && readInt(list, &count) ? 0 : -1;
    for (int32_t i = 0; listed >= 0 && i < count; ++i) {
        char guid[64];
        int32_t recordVersion = 0, programs = 0, fieldsVersion = 0;
        if (!readInt(list, &recordVersion) || !readGuidText(list, guid, sizeof guid) || !readInt(list, &programs)
            || !readInt(list, &fieldsVersion)) {
            listed = -1;
            break;
        }
        printf("%s programs 0x%x fields version %d\n", guid, (unsigned)programs, fieldsVersion);
        ++listed;
    }
    list->lpVtbl->Release(list);
    return failed("LoadVorlageArtListe") ? -1 : listed;
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s <data folder>\n", argv[0]);
        return 2;
    }
    kx_char16* folder = widen(argv[1]);
    init();
    iEMailV6* mail = NULL;
    GetMailInterfaceV6(&mail);
    int result = 1;
    if (mail && folder) {
        /* The host's program id 0: unknown to the family. */
        mail->lpVtbl->InitInterface(mail, folder, folder, u"Beispiel", 2026, 0);
        if (!failed("InitInterface") && registerKind(mail) == 0) {
            const int listed = listKinds(mail);
            printf("%d template kind(s)\n", listed);
            result = listed > 0 && mail->lpVtbl->VorlageArtVorhanden(mail, &kExampleKind) ? 0 : 1;
        }
        mail->lpVtbl->Release(mail);
    }
    finalize();
    free(folder);
    return result;
}
