#include "diagnostics.h"

#include "log.h"

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>

static constexpr const char *kRecord = "/var/tmp/httpdiag_record"; // the executable's record of a test
static constexpr int kMicroseconds = 1000000;                      // in a second
static constexpr const char *kTestFile = "test.bin"; // has to be named; a download leaves it empty

static constexpr DiagnosticsTest kTests[] = {{"InternetGatewayDevice.DownloadDiagnostics.", false},
                                             {"InternetGatewayDevice.UploadDiagnostics.", true}};

struct TimeStamp {
    int32_t seconds;
    int32_t microseconds; ///< may be above a second's
};

/// The record's 13 numbers, in its order.
struct Record {
    TimeStamp openRequest, openResponse, request, begin, end;
    int32_t received, spare, sent; ///< bytes
};

static std::string valueOf(const Gateway &gateway, const DiagnosticsTest &test, const char *name)
{
    return committedValue(gateway, std::string(test.object) + name);
}

const DiagnosticsTest *findRequestedTest(const Gateway &gateway)
{
    for (const DiagnosticsTest &test : kTests)
        if (valueOf(gateway, test, "DiagnosticsState") == "Requested")
            return &test;
    return nullptr;
}

Command prepareTest(const Workplace &workplace, const Gateway &gateway, const DiagnosticsTest &test)
{
    std::error_code ignored;
    std::filesystem::remove(kRecord, ignored);
    Command command{
        {workplace.executable, "-http_diagnostic"}, workplace.folder, workplace.folder + "/output"};
    if (test.isUpload)
        command.words.insert(command.words.end(),
                             {"-put", kTestFile, "-dest", valueOf(gateway, test, "UploadURL"), "-len",
                              valueOf(gateway, test, "TestFileLength")});
    else
        command.words.insert(command.words.end(),
                             {"-get", valueOf(gateway, test, "DownloadURL"), "-o", kTestFile});
    return command;
}

/// What the run left; zeroes where it left nothing.
static Record readRecord()
{
    std::array<int32_t, 13> numbers{};
    std::ifstream file(kRecord);
    char comma = ',';
    for (int32_t &number : numbers) {
        if (!(file >> number))
            break;
        file >> comma;
    }
    const auto stampAt = [&](size_t at) { return TimeStamp{numbers[at], numbers[at + 1]}; };
    return {stampAt(0), stampAt(2),  stampAt(4),  stampAt(6),
            stampAt(8), numbers[10], numbers[11], numbers[12]};
}

static std::string formatStamp(const TimeStamp &stamp)
{
    if (stamp.seconds == 0)
        return "0001-01-01T00:00:00.000000Z"; // it did not come to that
    const time_t seconds = time_t{stamp.seconds} + stamp.microseconds / kMicroseconds;
    tm parts{};
    gmtime_r(&seconds, &parts);
    char whole[32];
    strftime(whole, sizeof whole, "%Y-%m-%dT%H:%M:%S", &parts);
    char fraction[16];
    snprintf(fraction, sizeof fraction, ".%06dZ", stamp.microseconds % kMicroseconds);
    return std::string(whole) + fraction;
}

/// The count of a test of 2 GiB or more is beyond the record's numbers, but not beyond a parameter's.
static std::string formatBytes(int32_t count)
{
    return std::to_string(static_cast<uint32_t>(count));
}

static const char *findState(const DiagnosticsTest &test, const Record &record, bool isGood)
{
    if (isGood)
        return "Completed";
    if (record.openResponse.seconds == 0)
        return "Error_InitConnectionFailed";
    if (record.received == 0)
        return "Error_NoResponse";
    return test.isUpload ? "Error_NoTransferComplete" : "Error_TransferFailed";
}

void finishTest(Gateway &gateway, const DiagnosticsTest &test, bool isGood)
{
    const Record record = readRecord();
    std::vector<Setting> values = {{"ROMTime", formatStamp(record.request)},
                                   {"BOMTime", formatStamp(record.begin)},
                                   {"EOMTime", formatStamp(record.end)},
                                   {"TCPOpenRequestTime", formatStamp(record.openRequest)},
                                   {"TCPOpenResponseTime", formatStamp(record.openResponse)},
                                   {"DiagnosticsState", findState(test, record, isGood)}};
    if (test.isUpload)
        values.push_back({"TotalBytesSent", formatBytes(record.sent)});
    for (const char *name : {"TestBytesReceived", "TotalBytesReceived"})
        if (!test.isUpload)
            values.push_back({name, formatBytes(record.received)});
    for (Setting &setting : values)
        setting.name.insert(0, test.object);
    Transaction transaction(gateway.store);
    writeOwnValues(gateway, values);
    addEvent(gateway.store, "8 DIAGNOSTICS COMPLETE", "");
    transaction.end();
    writeLog(std::string(test.object) + ": " + valueOf(gateway, test, "DiagnosticsState"));
}
