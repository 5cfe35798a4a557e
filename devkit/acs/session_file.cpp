#include "session_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

static constexpr int kLowestFault = 8000; // the server's own codes start here, the device's at 9000
static constexpr int kHighestFault = 9999;

static std::string readFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path))
        throw SessionFileError(path + ": cannot be read");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Copies a quoted text to word.
///
/// @param at  behind the opening quote
/// @return behind the closing quote
static size_t readQuoted(const std::string &line, size_t at, std::string &word)
{
    for (; at < line.size() && line[at] != '"'; ++at) {
        const bool escapes =
            line[at] == '\\' && at + 1 < line.size() && (line[at + 1] == '"' || line[at + 1] == '\\');
        if (escapes)
            ++at;
        word += line[at];
    }
    if (at == line.size())
        throw std::invalid_argument("a quote is not closed");
    return at + 1;
}

std::vector<std::string> splitWords(const std::string &line)
{
    static constexpr char kBlanks[] = " \t\r";
    std::vector<std::string> words;
    size_t at = line.find_first_not_of(kBlanks);
    while (at != std::string::npos && line[at] != '#') {
        std::string word;
        while (at < line.size() && std::string(kBlanks).find(line[at]) == std::string::npos) {
            if (line[at] == '"')
                at = readQuoted(line, at + 1, word);
            else
                word += line[at++];
        }
        words.push_back(word);
        at = line.find_first_not_of(kBlanks, at);
    }
    return words;
}

static int readFaultCode(const std::string &word)
{
    const bool digits = word.size() == 4 && std::all_of(word.begin(), word.end(),
                                                        [](unsigned char c) { return std::isdigit(c); });
    const int code = digits ? std::stoi(word) : 0;
    if (code < kLowestFault || code > kHighestFault)
        throw std::invalid_argument("\"" + word + "\" is no fault code");
    return code;
}

/// Takes a "!" and what follows it.
static void expectFault(RequestLine &request, const std::vector<std::string> &words)
{
    if (words.size() != 1)
        throw std::invalid_argument("one fault code, or close, has to follow the !");
    if (words[0] == "close")
        request.expectsHangUp = true;
    else
        request.expectedFault = readFaultCode(words[0]);
}

static Section readSeparator(const std::string &line)
{
    Section section{};
    const size_t blank = line.find_first_of(" \t");
    for (size_t at = blank; at != std::string::npos;) {
        const size_t comma = line.find(',', at);
        const std::string name = line.substr(at, comma == std::string::npos ? comma : comma - at);
        std::string event;
        for (const std::string &word : splitWords(name))
            event += (event.empty() ? "" : " ") + word;
        if (!event.empty())
            section.events.push_back(event);
        at = comma == std::string::npos ? comma : comma + 1;
    }
    return section;
}

static RequestLine readRequest(const std::string &path, int line, std::vector<std::string> words)
{
    RequestLine request{};
    request.line = line;
    request.rpc = words[0];
    if (request.rpc[0] == '@') {
        const auto beside = std::filesystem::path(path).parent_path() / request.rpc.substr(1);
        request.envelope = readFile(beside.string());
    }
    const auto fault = std::find(words.begin(), words.end(), "!");
    request.words.assign(words.begin() + 1, fault);
    if (fault != words.end())
        expectFault(request, {fault + 1, words.end()});
    return request;
}

static void readLine(SessionFile &file, int line, const std::string &text)
{
    std::vector<std::string> words = splitWords(text);
    if (words.empty())
        return;
    Section &section = file.sections.back();
    std::vector<RequestLine> &requests = section.requests;
    const std::vector<std::string> rest(words.begin() + 1, words.end());

    if (words[0] == "---" || words[0] == "session") {
        // A separator at the head of the file gives the first section its events.
        if (requests.empty() && section.opening.empty() && file.sections.size() == 1)
            file.sections.clear();
        file.sections.push_back(readSeparator(text.substr(text.find_first_not_of(" \t"))));
    } else if (words[0] == "=") {
        if (rest.empty())
            throw std::invalid_argument("a value has to follow the =");
        (requests.empty() ? section.opening : requests.back().checks).push_back({line, rest});
    } else if (words[0] == "!") {
        if (requests.empty())
            throw std::invalid_argument("there is no request that this fault could answer");
        expectFault(requests.back(), rest);
    } else {
        if (!requests.empty() && requests.back().expectsHangUp)
            throw std::invalid_argument(
                "nothing can follow in a session that the device is expected to close");
        requests.push_back(readRequest(file.path, line, std::move(words)));
    }
}

SessionFile readSessionFile(const std::string &path)
{
    SessionFile file{path, {Section{}}};
    const std::string text = readFile(path);
    int line = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        ++line;
        try {
            readLine(file, line, text.substr(at, end - at));
        } catch (const std::exception &error) {
            throw SessionFileError(path + ":" + std::to_string(line) + ": " + error.what());
        }
        at = end + 1;
    }
    return file;
}
