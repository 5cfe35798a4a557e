#include "exported.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

// What a gateway would do to itself, the desk only writes down: one line per call in the journal file, the
// call's name first, then its arguments. No setting, flash item or process of the machine is touched.

static constexpr const char *kDefaultJournal = "/var/tmp/gateway_journal";

/// Writes bytes with everything unprintable, and the backslash, as \xHH: a call stays one line.
static void writeEscaped(FILE *journal, const char *bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const unsigned char byte = static_cast<unsigned char>(bytes[i]);
        if (byte < 0x20 || byte >= 0x7F || byte == '\\')
            fprintf(journal, "\\x%02X", byte);
        else
            fputc(byte, journal);
    }
}

static void writeEscaped(FILE *journal, const char *text)
{
    if (text != nullptr)
        writeEscaped(journal, text, strlen(text));
}

/// Appends the line that write(journal) makes, in one write. Returns 0, or -1 when it cannot be written.
template <typename Write>
static int appendLine(Write write)
{
    const char *path = getenv("GATEWAY_JOURNAL");
    const bool named = path != nullptr && path[0] != '\0';
    const int descriptor =
        open(named ? path : kDefaultJournal, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    FILE *journal = descriptor < 0 ? nullptr : fdopen(descriptor, "a");
    if (journal == nullptr) {
        if (descriptor >= 0)
            close(descriptor);
        return -1;
    }
    write(journal);
    fputc('\n', journal);
    return fclose(journal) == 0 ? 0 : -1;
}

int CFG_LibInit(void)
{
    return appendLine([](FILE *journal) { fputs("CFG_LibInit", journal); });
}

int CFG_SetNodeVal(const char *path, const char *value)
{
    return appendLine([=](FILE *journal) {
        fputs("CFG_SetNodeVal ", journal);
        writeEscaped(journal, path);
        fputc(' ', journal);
        writeEscaped(journal, value);
    });
}

int CFG_SaveCfg(void)
{
    return appendLine([](FILE *journal) { fputs("CFG_SaveCfg", journal); });
}

int CFG_LibFinal(void)
{
    return appendLine([](FILE *journal) { fputs("CFG_LibFinal", journal); });
}

int app_item_save(const char *value, const char *item, int length)
{
    return appendLine([=](FILE *journal) {
        fputs("app_item_save ", journal);
        writeEscaped(journal, item);
        fprintf(journal, " %d ", length);
        if (value != nullptr && length > 0)
            writeEscaped(journal, value, static_cast<size_t>(length));
    });
}

int kvrSystem(const char *command, int flag)
{
    return appendLine([=](FILE *journal) {
        fprintf(journal, "kvrSystem %d ", flag);
        writeEscaped(journal, command);
    });
}
