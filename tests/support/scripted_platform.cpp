#include "scripted_platform.h"

#include "guarded_text.h"
#include "platform_services.h"

#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <memory>

constexpr size_t kHeader = 16;
constexpr int kTimeout = 20;

static std::map<void *, std::unique_ptr<GuardedText>> held;
static std::vector<SentMessage> sent;
static Answer answerOf;
static BusFailures failing;

void startAnsweringBus(Answer answer, BusFailures failures)
{
    EXPECT_EQ(0, messagesHeld());
    sent.clear();
    answerOf = std::move(answer);
    failing = failures;
}

void startBus(std::deque<std::string> replies, BusFailures failures)
{
    failures.receive = failures.receive != 0 ? failures.receive : static_cast<int>(replies.size()) + 1;
    const auto nextReply = [left = std::move(replies)](const SentMessage &) mutable {
        const std::string reply = left.front();
        left.pop_front();
        return reply;
    };
    startAnsweringBus(nextReply, failures);
}

const std::vector<SentMessage> &sentMessages() { return sent; }

std::string sentOperations()
{
    std::string all;
    for (const SentMessage &message : sent)
        all += (all.empty() ? "" : " ") + std::to_string(message.operation);
    return all;
}

int messagesHeld() { return static_cast<int>(held.size()); }

std::string u16(uint16_t value) { return {reinterpret_cast<const char *>(&value), sizeof value}; }
std::string u32(uint32_t value) { return {reinterpret_cast<const char *>(&value), sizeof value}; }
std::string text(const std::string &value) { return value + '\0'; }

std::string texts(const std::vector<std::string> &values)
{
    std::string all = u32(static_cast<uint32_t>(values.size()));
    for (const std::string &value : values)
        all += text(value);
    return all;
}

static bool failsNow(int &countdown) { return countdown > 0 && --countdown == 0; }

static uint16_t fieldOf(const std::string &bytes, size_t at)
{
    uint16_t value = 0;
    memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

// Neither side of it is aligned.
static void *hold(const std::string &bytes)
{
    auto message = std::make_unique<GuardedText>(bytes);
    void *start = message->text;
    held.emplace(start, std::move(message));
    return start;
}

// Where the message is held; nothing, and a failed test, for what is none of the bus.
static const GuardedText *findHeld(void *message)
{
    const auto found = held.find(message);
    EXPECT_NE(held.end(), found) << "no message of the bus, or given back before";
    return found == held.end() ? nullptr : found->second.get();
}

void *MSG_CreateMessage(unsigned int bodyLength)
{
    if (failsNow(failing.create))
        return nullptr;
    return hold(std::string(kHeader + bodyLength, '\0'));
}

int MSG_SendMessage(void *message)
{
    const GuardedText *found = findHeld(message);
    if (found == nullptr || failsNow(failing.send))
        return kBusError;
    const std::string bytes(found->text, static_cast<size_t>(found->size));
    sent.push_back({fieldOf(bytes, 2), fieldOf(bytes, 8), bytes, bytes.substr(kHeader)});
    return 0;
}

int MSG_ReceiveMessage(void **message, int timeout)
{
    EXPECT_EQ(kTimeout, timeout);
    EXPECT_EQ(nullptr, *message) << "a failed receive would leave a pointer to something released";
    if (sent.empty() || failsNow(failing.receive))
        return kBusError;
    *message = hold(std::string(kHeader, '#') + answerOf(sent.back()));
    return 0;
}

int MSG_ReleaseMessage(void *message)
{
    const bool isHeld = findHeld(message) != nullptr;
    held.erase(message);
    return isHeld ? 0 : kBusError;
}

std::string digestInput;

static char *allocateText(const char *text)
{
    char *copy = static_cast<char *>(malloc(strlen(text) + 1));
    return copy == nullptr ? nullptr : strcpy(copy, text);
}

char *CalcNonce() { return allocateText("CN"); }

char *CalcDigest(const char *username, const char *password, const char *realm, const char *uri,
                 const char *nonce, const char *qop, const char *nonceCount, const char *clientNonce,
                 const char *method, char **response)
{
    digestInput.clear();
    for (const char *text : {username, password, realm, uri, nonce, qop, nonceCount, clientNonce, method})
        digestInput += std::string(text) + "|";
    return *response = allocateText("RESP");
}
