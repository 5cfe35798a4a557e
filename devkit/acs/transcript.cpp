#include "transcript.h"

#include <algorithm>
#include <cstdio>

static constexpr char kIndent[] = "               ";
static constexpr size_t kWidestName = 100; // a longer name pushes its value out of the column
static constexpr size_t kLongestShown = 200;

static constexpr char kCyan[] = "\033[36m";
static constexpr char kGreen[] = "\033[32m";
static constexpr char kRed[] = "\033[1;31m";
static constexpr char kBold[] = "\033[1m";
static constexpr char kDim[] = "\033[2m";

static std::string paint(const Transcript &transcript, const char *colour, const std::string &text)
{
    return transcript.colours ? colour + text + "\033[0m" : text;
}

static void print(const std::string &line)
{
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

/// Columns that a UTF-8 text takes, one a character.
static size_t measureWidth(const std::string &text)
{
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

static std::string pad(const std::string &text, size_t width)
{
    const size_t taken = measureWidth(text);
    return taken < width ? text + std::string(width - taken, ' ') : text;
}

static std::string padLeft(const std::string &text, size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

/// 12345 as 12,345.
static std::string groupDigits(size_t number)
{
    std::string text = std::to_string(number);
    for (size_t at = text.size(); at > 3; at -= 3)
        text.insert(at - 3, ",");
    return text;
}

/// A device's text must not steer the terminal.
static std::string makeHarmless(const std::string &text)
{
    std::string shown;
    for (const char c : text) {
        char code[8];
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= ' ' && byte != 0x7F) {
            shown += c;
            continue;
        }
        std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned>(byte));
        shown += c == '\n' ? "\\n" : c == '\t' ? "\\t" : code;
    }
    return shown;
}

static std::string shorten(const std::string &text)
{
    if (text.size() <= kLongestShown)
        return makeHarmless(text);
    size_t end = kLongestShown;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80)
        --end;
    return makeHarmless(text.substr(0, end)) + "... (" + groupDigits(text.size()) + " bytes)";
}

static void printRaw(const Transcript &transcript, const std::string &envelope)
{
    if (!transcript.raw || envelope.empty())
        return;
    for (size_t at = 0; at < envelope.size();) {
        const size_t end = std::min(envelope.find('\n', at), envelope.size());
        print(paint(transcript, kDim, "  | " + makeHarmless(envelope.substr(at, end - at))));
        at = end + 1;
    }
}

struct Columns {
    size_t name;
    size_t type;
};

static void widen(Columns &columns, const std::vector<Row> &rows, size_t shown)
{
    for (size_t i = 0; i < shown; ++i) {
        columns.name = std::max(columns.name, std::min(measureWidth(shorten(rows[i].name)), kWidestName));
        columns.type = std::max(columns.type, rows[i].type.size());
    }
}

static void printRow(const std::string &indent, const Columns &columns, const Row &row, bool quotesEmpty)
{
    std::string line = indent;
    if (columns.name > 0)
        line += pad(shorten(row.name), columns.name) + "  ";
    if (columns.type > 0)
        line += pad(makeHarmless(row.type), columns.type) + "  ";
    for (const std::string &field : row.fields)
        line += (field.empty() && quotesEmpty ? "\"\"" : shorten(field)) + "  ";
    line.erase(line.find_last_not_of(' ') + 1);
    print(line);
}

static void printArray(const Transcript &transcript, const RowGroup &group)
{
    const size_t count = group.rows.size();
    const size_t shown = transcript.mostRows == 0 ? count : std::min(count, transcript.mostRows);
    print(kIndent + paint(transcript, kDim, group.title + ", " + groupDigits(count)));
    Columns columns{0, 0};
    widen(columns, group.rows, shown);
    for (size_t i = 0; i < shown; ++i)
        printRow(std::string(kIndent) + "  ", columns, group.rows[i], columns.type > 0);
    if (shown < count)
        print(std::string(kIndent) + "  ... and " + groupDigits(count - shown) + " more");
}

void printTitle(const Transcript &transcript, const std::string &title)
{
    print("\n" + paint(transcript, kBold, title));
    print(paint(transcript, kDim,
                "      time  --> from the device, <-- to it" + std::string(27, ' ') +
                    "HTTP             size   after"));
}

void printHeadline(const Transcript &transcript, const Headline &headline)
{
    char time[32];
    std::snprintf(time, sizeof time, "%8.3f s", headline.seconds);
    const char *arrow = headline.fromDevice ? "  -->  " : "  <--  ";
    const char *colour = headline.alarming ? kRed : headline.fromDevice ? kGreen : kCyan;
    std::string line = time + paint(transcript, colour, arrow + pad(makeHarmless(headline.what), 50)) + "  " +
                       pad(headline.status, 4) + padLeft(groupDigits(headline.bytes), 11) + " bytes";
    if (!headline.note.empty())
        line += "   " + headline.note;
    print(line);
}

void printContents(const Transcript &transcript, const Message &message, const std::string &envelope)
{
    printRaw(transcript, envelope);
    for (size_t i = 0; i < message.groups.size();) {
        if (!message.groups[i].items.empty()) {
            printArray(transcript, message.groups[i++]);
            continue;
        }
        // Lone elements that follow one another share their columns.
        Columns columns{0, 0};
        size_t end = i;
        for (; end < message.groups.size() && message.groups[end].items.empty(); ++end)
            widen(columns, message.groups[end].rows, message.groups[end].rows.size());
        for (; i < end; ++i)
            for (const Row &row : message.groups[i].rows)
                printRow(kIndent, columns, row, true);
    }
}

void printArguments(const Transcript &transcript, const std::vector<std::string> &words,
                    const std::string &envelope)
{
    printRaw(transcript, envelope);
    std::vector<Row> rows;
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        rows.push_back({word.empty() ? "\"\"" : word.substr(0, equals), {}, ""});
        if (equals != std::string::npos)
            rows.back().fields.push_back(word.substr(equals + 1));
    }
    Columns columns{0, 0};
    widen(columns, rows, rows.size());
    for (const Row &row : rows)
        printRow(kIndent, columns, row, true);
}

void printProblem(const Transcript &transcript, const std::string &problem)
{
    print(paint(transcript, kRed, "          !!!  " + makeHarmless(problem)));
}

void printVerdict(const Transcript &transcript, bool healthy, const std::string &verdict)
{
    print("\n" + paint(transcript, healthy ? kGreen : kRed, "acsd: " + makeHarmless(verdict)));
}

std::string nameMessage(const Message &message)
{
    if (message.method == "Fault")
        return "Fault " + std::to_string(message.faultCode) + ", " + message.faultText;
    return message.method.empty() ? "(not an envelope)" : message.method;
}
