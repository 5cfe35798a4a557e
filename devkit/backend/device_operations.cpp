#include "operations.h"

#include <algorithm>
#include <cctype>
#include <ctime>

static constexpr uint32_t kLongestDelay = 34164000;     // seconds, of a ScheduleInform
static constexpr uint32_t kLargestDownload = 64U << 20; // bytes: the gateway's flash
static constexpr int64_t kMaximumTransfers = 64;        // ordered and not done
static constexpr uint32_t kTransferLater = 1;           // result: accepted, to be done after the session
static constexpr const char *kUnknownTime = "0001-01-01T00:00:00Z"; // of something that has not happened

static constexpr const char *kDownloadTypes[] = {"1 Firmware Upgrade Image", "3 Vendor Configuration File"};
static constexpr const char *kUploadTypes[] = {"1 Vendor Configuration File", "2 Vendor Log File"};

void getEvents(Gateway &gateway, Exchange &exchange)
{
    std::vector<EventRow> events = listEvents(gateway.store);
    if (events.size() > UINT16_MAX)
        events.resize(UINT16_MAX);
    appendU16(exchange.reply, static_cast<uint16_t>(events.size()));
    for (const EventRow &event : events) {
        exchange.reply.append(event.code).append(1, '=').append(event.commandKey).append(1, ';');
        exchange.note += (exchange.note.empty() ? "" : ", ") + event.code;
        gateway.reportedEvent = event.id;
    }
    if (events.empty())
        exchange.note = "none";
}

void clearEvents(Gateway &gateway, Exchange &exchange)
{
    // Only what was listed: an event that arose since then was not delivered.
    eraseEventsUpTo(gateway.store, gateway.reportedEvent);
    ++gateway.deliveries;
    exchange.note = std::to_string(listEvents(gateway.store).size()) + " left";
}

/// A command key comes back in an event list, where a semicolon ends it.
static std::string takeCommandKey(BodyReader &request)
{
    const std::string_view key = takeText(request);
    if (key.find(';') != std::string_view::npos)
        throw Refusal(kFaultInvalidArguments, "a semicolon in the command key");
    return std::string(key);
}

template <size_t count>
static void checkFileType(const std::string &type, const char *const (&served)[count])
{
    if (type.empty())
        throw Refusal(kFaultInvalidArguments, "no file type");
    if (std::find(served, served + count, type) == served + count)
        throw Refusal(kFaultRequestDenied, "file type \"" + type + "\" is not served");
}

static void checkUrl(const std::string &url)
{
    std::string scheme = url.substr(0, url.find("://"));
    std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    if (scheme.empty() || scheme.size() == url.size())
        throw Refusal(kFaultInvalidArguments, "no URL: \"" + url + '"');
    if (scheme != "http")
        throw Refusal(kFaultUnsupportedProtocol, "scheme \"" + scheme + "\" is not served");
    const size_t host = scheme.size() + 3;
    const std::string authority = url.substr(host, url.find_first_of("/?", host) - host);
    if (authority.empty() || authority.front() == ':' || authority.find('@') != std::string::npos)
        throw Refusal(kFaultInvalidArguments, "a URL without a host, or with credentials: \"" + url + '"');
}

static void acceptTransfer(Gateway &gateway, Exchange &exchange, const TransferRow &transfer)
{
    checkUrl(transfer.url);
    if (countTransfers(gateway.store) >= kMaximumTransfers)
        throw Refusal(kFaultResourceExceeded, "too many transfers are pending");
    addTransfer(gateway.store, transfer);
    appendU32(exchange.reply, kTransferLater);
    appendText(exchange.reply, kUnknownTime);
    appendText(exchange.reply, kUnknownTime);
    exchange.note = transfer.fileType + ", " + transfer.url + ", key \"" + transfer.commandKey + '"';
}

void orderDownload(Gateway &gateway, Exchange &exchange)
{
    BodyReader &request = exchange.request;
    TransferRow transfer{};
    transfer.fileSize = takeU32(request);
    transfer.due = time(nullptr) + takeU32(request);
    transfer.commandKey = takeCommandKey(request);
    for (std::string *text : {&transfer.fileType, &transfer.url, &transfer.username, &transfer.password,
                              &transfer.targetFileName, &transfer.successUrl, &transfer.failureUrl})
        *text = takeText(request);
    checkFileType(transfer.fileType, kDownloadTypes);
    if (transfer.fileSize > kLargestDownload)
        throw Refusal(kFaultResourceExceeded, "a file of " + std::to_string(transfer.fileSize) + " bytes");
    acceptTransfer(gateway, exchange, transfer);
}

void orderUpload(Gateway &gateway, Exchange &exchange)
{
    BodyReader &request = exchange.request;
    TransferRow transfer{};
    transfer.isUpload = true;
    transfer.due = time(nullptr) + takeU32(request);
    transfer.commandKey = takeCommandKey(request);
    for (std::string *text : {&transfer.fileType, &transfer.url, &transfer.username, &transfer.password})
        *text = takeText(request);
    checkFileType(transfer.fileType, kUploadTypes);
    acceptTransfer(gateway, exchange, transfer);
}

void orderReboot(Gateway &gateway, Exchange &exchange)
{
    const std::string key = takeCommandKey(exchange.request);
    reboot(gateway, key);
    appendU32(exchange.reply, 0);
    exchange.note = "key \"" + key + '"';
}

void orderFactoryReset(Gateway &gateway, Exchange &exchange)
{
    resetToFactory(gateway);
    appendU32(exchange.reply, 0);
    exchange.note = "done";
}

void scheduleSession(Gateway &gateway, Exchange &exchange)
{
    const uint32_t count = takeU32(exchange.request);
    const uint32_t delay = takeU32(exchange.request);
    const std::string key = takeCommandKey(exchange.request);
    if (count != 1 || delay == 0 || delay > kLongestDelay)
        throw Refusal(kFaultInvalidArguments, "a count other than 1, or a delay that is 0 or too long");
    Transaction transaction(gateway.store);
    const int64_t due = time(nullptr) + delay;
    addSchedule(gateway.store, due, key);
    // Where nobody starts sessions at their time, what is scheduled is due at once, for whatever session
    // comes next.
    if (!gateway.keepsTime)
        raiseDueSchedules(gateway, due);
    transaction.end();
    appendU32(exchange.reply, 0);
    exchange.note = std::to_string(delay) + " s, key \"" + key + '"';
}

void getTransferComplete(Gateway &gateway, Exchange &exchange)
{
    const std::optional<TransferCompleteRow> complete = oldestTransferComplete(gateway.store);
    const TransferCompleteRow row = complete.value_or(TransferCompleteRow{0, "", "0", "", ""});
    for (const std::string *text : {&row.commandKey, &row.faultCode, &row.startTime, &row.completeTime})
        appendText(exchange.reply, *text);
    gateway.toldTransfer = row.id;
    exchange.note = row.id == 0 ? "none" : "key \"" + row.commandKey + "\", fault " + row.faultCode;
}
