#pragma once

// Reads one envelope, whoever wrote it, into rows of text, and says what is wrong with it as an envelope.

#include <string>
#include <vector>

/// A name and what is said of it: a parameter with its value; an event with its command key; a lone element.
struct Row {
    std::string name;                ///< empty for an item of a plain string array
    std::vector<std::string> fields; ///< at least one
    std::string type;                ///< a value's xsi:type without its prefix, else empty
};

/// The rows of one element of the RPC, in document order.
struct RowGroup {
    std::string title; ///< the element's local name
    std::string items; ///< for an array, the type of its items without the prefix; else empty
    std::vector<Row> rows;
};

struct Message {
    std::string id;        ///< the header's ID, empty when there is none
    std::string method;    ///< local name of what the Body holds; empty when that cannot be told
    int faultCode;         ///< of a Fault's detail; 0 for no Fault or a Fault without a code
    std::string faultText; ///< of a Fault's detail
    std::vector<RowGroup> groups;
    std::vector<std::string> problems; ///< what breaks the rules of an envelope, in words
};

/// Reads an envelope. Nothing is left unread because of a problem that can be passed over.
Message readMessage(const std::string &text);

/// The group of that title, or null; borrowed from the message.
const RowGroup *findGroup(const Message &message, const std::string &title);

/// The first field of the first row of that name, in any group; empty when there is none.
std::string findField(const Message &message, const std::string &name);
