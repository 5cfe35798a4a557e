#pragma once

#include <fstream>
#include <iterator>
#include <string>

// What tests do with texts.

inline std::string tag(const std::string &name, const std::string &content)
{
    return "<" + name + ">" + content + "</" + name + ">";
}

/// An envelope as servers write it, the RPCs under the prefix "c".
inline std::string envelope(const std::string &body, const std::string &header = "")
{
    const std::string start = "<?xml version=\"1.0\"?><e:Envelope xmlns:e=\"env\" xmlns:c=\"urn:any\">";
    return start + header + tag("e:Body", body) + "</e:Envelope>";
}

inline std::string array(const std::string &name, const std::string &type, const std::string &items)
{
    return "<" + name + " e:arrayType=\"" + type + "\">" + items + "</" + name + ">";
}

inline std::string repeat(const std::string &text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

inline bool holds(const std::string &text, const std::string &part) { return text.find(part) != text.npos; }

inline std::string contentOf(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "absent";
}

// Records as text. A test adds a print for each of its own.

inline std::string print(int number) { return std::to_string(number); }
inline std::string print(const char *text) { return text == nullptr ? "-" : text; }

/// "a|b|c".
template <typename First, typename... Rest> std::string bars(const First &first, const Rest &...rest)
{
    return (print(first) + ... + ("|" + print(rest)));
}

/// Every record of a list behind a blank.
template <typename Record> std::string printList(const Record *list)
{
    std::string all;
    for (; list != nullptr; list = list->next)
        all += " " + print(*list);
    return all;
}
