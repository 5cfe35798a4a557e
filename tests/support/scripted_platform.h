#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

// A message bus in the closed library's place. It keeps every message sent, answers from a script, fails
// where it is told to, and fails the test when a message is given back more than once. Every message ends at
// an unreadable page.

/// The bus's own error wherever it is told to fail, and where the script has no reply.
constexpr int kBusError = 77;

/// Which call of its kind fails, 1 being the first; 0 never. The counts go down to 0 as calls are made.
struct BusFailures {
    int create = 0;
    int send = 0;
    int receive = 0;
};

struct SentMessage {
    uint16_t messageClass;
    uint16_t operation;
    std::string bytes; ///< header and body
    std::string body;
};

/// The reply's body to the message sent last.
using Answer = std::function<std::string(const SentMessage &)>;

/// Starts over: nothing sent, no failures, every message given back.
void startAnsweringBus(Answer answer, BusFailures failures = {});
/// Replies in this order, whatever is sent; a receive after the last one fails.
void startBus(std::deque<std::string> replies, BusFailures failures = {});

const std::vector<SentMessage> &sentMessages();
/// The operations sent, in order: "11 23 44".
std::string sentOperations();
/// Messages that nobody gave back yet.
int messagesHeld();

/// The arguments of the last Digest asked for, each with a "|" behind it. Its answer is "RESP", a nonce "CN".
extern std::string digestInput;

// Pieces of a body, in host byte order.
std::string u16(uint16_t value);
std::string u32(uint32_t value);
/// With its NUL.
std::string text(const std::string &value);
/// A u32 count and the strings.
std::string texts(const std::vector<std::string> &values);
