#include "device_requests.h"
#include "inform_parameters.h"
#include "parameter_requests.h"
#include "transfer_requests.h"

#include "failing_allocator.h"
#include "owned.h"
#include "scripted_platform.h"

#include <cstring>
#include <gtest/gtest.h>
#include <tuple>
#include <utility>

// Each request as its callers make it, its outputs in one text: "code [outputs]". What they give is freed.

static std::string field(const char *value)
{
    return value == nullptr ? "(null)" : value;
}

static std::string show(const ParameterValueRecord &record)
{
    return field(record.name) + "|" + field(record.type) + "|" + field(record.value);
}

static std::string show(const ParameterFaultRecord &record)
{
    return field(record.parameterName) + "|" + std::to_string(record.faultCode) + "|" +
           field(record.faultStr);
}

static std::string show(const ParameterNameRecord &record)
{
    return field(record.name) + "|" + std::to_string(record.writable);
}

static std::string show(const ParameterAttributeRecord &record)
{
    std::string all = field(record.name) + "|" + std::to_string(record.notification);
    for (int i = 0; i < record.accessListCount; ++i)
        all += "|" + field(record.accessList[i]);
    return all;
}

static std::string show(const InformEvent &event)
{
    return field(event.eventCode) + "|" + field(event.commandKey);
}

// Every record behind a blank; the list is freed.
template <typename Record>
static std::string dump(Record *list, void (*freeList)(Record *))
{
    std::string all;
    for (const Record *record = list; record != nullptr; record = record->next)
        all += " " + show(*record);
    freeList(list);
    return all;
}

static char one[] = "A.B", two[] = "C.", key[] = "k";
static const char *const names[] = {one, two};

static std::string getValues()
{
    int fault = -5;
    const std::string list = dump(getParamValue_Request(names, 2, &fault), freeParamValueStr);
    return std::to_string(fault) + list;
}

static std::string setValues()
{
    char first[] = "1", empty[] = "";
    ParamValueEntry last = {two, empty, nullptr, nullptr};
    ParamValueEntry entry = {one, first, nullptr, &last};
    const SetParamValStr request = {nullptr, &entry};
    int fault = -5, status = -5, reboot = 0;
    const std::string list =
        dump(setParamValue_Request(&request, &fault, &status, &reboot), freeSetParamFaultStructure);
    return std::to_string(fault) + " status " + std::to_string(status) + (reboot == 1 ? " reboot" : "") +
           list;
}

static std::string getNames()
{
    int fault = -5;
    const std::string list = dump(getParamNames_Request(two, 7, &fault), freeParamNameRecords);
    return std::to_string(fault) + list;
}

static std::string getAttributes()
{
    int fault = -5;
    const std::string list = dump(getParamAttr_Request(names, 2, &fault), freeParamAttrRecords);
    return std::to_string(fault) + list;
}

static std::string changeAttributes()
{
    char first[] = "Subscriber", second[] = "x", address[] = "A.ExternalIPAddress", shortName[] = "P";
    char *entries[] = {first, second};
    ParamAttrEntry skipped = {shortName, 0, 1, 0, 2, entries, nullptr};
    ParamAttrEntry kept = {address, 0, 2, 1, 2, entries, &skipped};
    const ParamAttrEntry list = {one, 1, 2, 1, 0, nullptr, &kept};
    return std::to_string(setParamAttr_Request(&list));
}

static std::string changeObject(const char *method)
{
    const AddDelObjStr request = {two, key};
    int instance = -5, status = -5, reboot = 0;
    const int fault = addDelObject_Request(&request, &instance, method, &status, &reboot);
    return std::to_string(fault) + " instance " + std::to_string(instance) + " status " +
           std::to_string(status) + (reboot == 1 ? " reboot" : "");
}

static std::string addObject()
{
    return changeObject("AddObject");
}

static std::string getEvents()
{
    InformEvent *list = nullptr;
    const int code = SendXMLInformEvent(&list);
    return std::to_string(code) + dump(list, freeEventList);
}

static std::string getTransfer()
{
    const Owned<TransferCompleteRecord, freeTCDS> record(getTCDS());
    if (record == nullptr)
        return "(null)";
    return field(record->commandKey) + "|" + std::to_string(record->fault->code) + "|" +
           field(record->fault->string) + "|" + field(record->startTime) + "|" + field(record->completeTime);
}

static std::string download()
{
    char size[] = "3000000000", delay[] = "soon";
    const DownloadStr request = {key, one, two, nullptr, nullptr, size, nullptr, delay, nullptr, one};
    char start[kTransferTimeSize], complete[kTransferTimeSize];
    const int status = getDownloadType(&request, start, complete);
    return std::to_string(status) + "|" + start + "|" + complete;
}

static std::string upload()
{
    char delay[] = "60";
    const UploadStr request = {nullptr, one, two, key, nullptr, delay};
    char start[kTransferTimeSize], complete[kTransferTimeSize];
    const int status = getUploadType(&request, start, complete);
    return std::to_string(status) + "|" + start + "|" + complete;
}

static std::string rebootDevice()
{
    return std::to_string(sendRebootSignal(key));
}

static std::string clearEvents()
{
    return std::to_string(SendClearEvents_Cmd(1035, 46));
}

static std::string u16(uint16_t value)
{
    return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}

struct Request {
    const char *name;
    std::string (*call)();
    std::string body; // of the first message
    std::string reply;
    std::string operations;
    std::string result;
};

static const std::string done = u32(0);

static const std::vector<Request> &requests()
{
    static const std::vector<Request> rows = {
        {"get values", getValues, texts({"A.B", "C."}),
         done + texts({"A.B string=a=<b> \"c\"", "C.D int=7", "E", "F bool"}), "10",
         "0 A.B|string|a=&lt;b&gt; &quot;c&quot; C.D|int|7 E|| F|bool|"},
        {"set values", setValues, texts({"A.B=1", "C.="}), done + u32(1), "11 23 44", "0 status 1 reboot"},
        {"get names", getNames, '\1' + text("C."), done + texts({"C.1. Writable=\"1", "C.D Writable=\"0"}),
         "14", "0 C.1.|1 C.D|0"},
        {"get attributes", getAttributes, texts({"A.B", "C."}),
         done + texts({"A Notification=\"2\" AccessList=\"x y z", "B Notification=\"0\"AccessList=\"S\"",
                       "C Notification=\"1\" AccessList=\""}),
         "15", "0 A|2|x|y|z B|0|S C|1|"},
        {"set attributes", changeAttributes,
         texts({"A.B Notification=\"2\" AccessList=\"", "A.ExternalIPAddress AccessList=\"Subscriber x"}),
         done, "16 23", "0"},
        {"add object", addObject, text("C."), done + u32(3) + u32(0), "12 44 23", "0 instance 3 status 0"},
        {"delete object", [] { return changeObject("Delete"); }, text("C."), done + u32(1), "13 44 23",
         "0 instance 0 status 1 reboot"},
        {"events", getEvents, "", u16(2) + "1 BOOT=;M Reboot=k=1;", "45", "0 1 BOOT| M Reboot|k=1"},
        {"clear events", clearEvents, "", "", "46", "0"},
        {"download", download,
         u32(3000000000) + u32(0) + text("k") + text("A.B") + text("C.") + std::string(4, '\0') + text("A.B"),
         u32(1) + text(std::string(64, 's')) + text("c"), "47", "1|" + std::string(63, 's') + "|c"},
        {"upload", upload, u32(60) + text("") + text("A.B") + text("C.") + text("k") + text(""),
         done + text("") + text(""), "48", "0||"},
        {"reboot", rebootDevice, text("k"), done, "49", "0"},
        {"factory reset", [] { return std::to_string(factoryResetSignal()); }, "", done, "50", "0"},
        {"schedule", [] { return std::to_string(SendScheduleDelay("-2", nullptr)); },
         u32(1) + u32(0xFFFFFFFE) + text(""), done, "51", "0"},
        {"transfer complete", getTransfer, "", text("k") + text("9801") + text("s") + text("c"), "52",
         "k|9010|unable to connect to the server|s|c"},
    };
    return rows;
}

TEST(Requests, SendTheirBytesAndReadTheirReplies)
{
    for (const Request &row : requests()) {
        SCOPED_TRACE(row.name);
        startBus({row.reply});
        EXPECT_EQ(row.result, row.call());
        ASSERT_EQ(row.operations, sentOperations());
        for (const SentMessage &message : sentMessages()) {
            EXPECT_EQ(u16(2305) + u16(message.operation < 44 ? 1028 : 1035), message.bytes.substr(0, 4));
            const std::string key44 = row.call == setValues ? text("") : text("k");
            EXPECT_TRUE(&message == &sentMessages()[0] ||
                        message.body == (message.operation == 23 ? "" : key44));
        }
        EXPECT_EQ(row.body, sentMessages()[0].body);
        EXPECT_EQ(0, messagesHeld());
    }
}

TEST(Requests, PassOnWhatGoesWrong)
{
    struct Row {
        const char *name;
        std::string (*call)();
        std::string reply;
        const char *operations;
        const char *result;
        BusFailures failures; // create, send, receive
    };
    const std::string refusal = u32(9003) + u32(0) + texts({"A=9005 x"});
    const Row rows[] = {
        {"values", getValues, u32(0x10000 + 9005), "10", "9005", {}},
        {"no code in the low half", getValues, u32(0x10000), "10", "9002", {}},
        {"marked value",
         setValues,
         u32(9003) + u32(1) + texts({"A=565535 no good", "B=9008", "C", "D=9006x"}),
         "11 23",
         "9007 status 0 A|9007|no good B|9008| C|0| D|9006|",
         {}},
        {"names", getNames, u32(9005), "14", "9005", {}},
        {"not writable or not",
         getNames,
         done + u32(UINT32_MAX) + text("A Writable=\"1") + text("B Write"),
         "14",
         "-1",
         {}},
        {"name only", getNames, done + texts({"A"}), "14", "-1", {}},
        {"attributes", getAttributes, u32(0x10000 + 9005), "15", "9005", {}},
        {"no access list", getAttributes, done + texts({"A Notification=\"1\""}), "15", "9002", {}},
        {"no notification", getAttributes, done + texts({"A AccessList=\"x"}), "15", "9002", {}},
        {"set attributes", changeAttributes, u32(9009), "16 23", "9009", {}},
        {"add", addObject, u32(9004), "12", "9004 instance 0 status 0", {}},
        {"fewer events than counted", getEvents, u16(3) + "1 BOOT=;M Reboot=k" + '\0', "45", "9002", {}},
        {"no events", getEvents, u16(0), "45", "0", {}},
        {"refused transfer", download, u32(2) + u32(0x7000000 + 9010), "47", "9010||", {}},
        {"code that looks accepted", upload, u32(9011) + u32(1), "48", "9002||", {}},
        {"reboot", rebootDevice, u32(9001), "49", "9001", {}},
        {"no message", getValues, "", "", "9002", {1, 0, 0}},
        {"not sent", getNames, "", "", "77", {0, 1, 0}},
        {"no reply", getAttributes, "", "15", "77", {0, 0, 1}},
        {"lost set", setValues, "", "11", "77 status 0", {0, 0, 1}},
        {"lost commit", setValues, done + u32(0), "11", "77 status 0", {0, 2, 0}},
        {"lost commit of a refusal", setValues, refusal, "11", "9003 status 0", {0, 2, 0}},
        {"lost key", setValues, done + u32(0), "11 23", "0 status 0", {0, 3, 0}},
        {"unsent add", addObject, "", "", "77 instance 0 status 0", {0, 1, 0}},
        {"lost add", addObject, "", "12", "0 instance 0 status 1", {0, 0, 1}},
        {"lost key of an add",
         addObject,
         done + u32(1) + u32(1),
         "12",
         "77 instance 1 status 1 reboot",
         {0, 2, 0}},
        {"lost attributes", changeAttributes, "", "16", "77", {0, 0, 1}},
        {"lost commit of attributes", changeAttributes, done, "16", "77", {0, 2, 0}},
        {"refusal before a lost commit", changeAttributes, u32(9008), "16", "9008", {2, 0, 0}},
        {"lost transfer", download, "", "47", "9002||", {0, 0, 1}},
        {"nothing of a transfer", getTransfer, "", "52", "(null)|0|(null)|(null)|(null)", {0, 0, 1}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        startBus({row.reply}, row.failures);
        EXPECT_EQ(row.result, row.call());
        EXPECT_EQ(row.operations, sentOperations());
        EXPECT_EQ(0, messagesHeld());
    }
}

TEST(Requests, SurviveWithoutMemoryAndWithRepliesCutShort)
{
    bool unescapedSeen = false;
    for (const Request &row : requests()) {
        SCOPED_TRACE(row.name);
        withEveryAllocationFailing([&] {
            startBus({row.reply});
            const std::string result = row.call();
            EXPECT_EQ(0, messagesHeld());
            const bool unescaped = result.find("<b>") != result.npos;
            unescapedSeen = unescapedSeen || unescaped;
            EXPECT_TRUE(result == row.result || result.rfind("9002", 0) == 0 ||
                        result.find("(null)") != result.npos || unescaped)
                << result;
        });
    }
    EXPECT_TRUE(unescapedSeen); // a value that cannot be escaped is handed out as it is
    const auto refusal = [](const std::string &piece) { return u32(9003) + u32(0) + texts({piece}); };
    for (const std::string piece : {"A string=<v>", "A Writable=\"1",
                                    "A Notification=\"1\" AccessList=\"x y\"", "A=9005 no", "1 BOOT=k;"}) {
        for (size_t length = 0; length <= piece.size(); ++length) {
            const std::string cut = piece.substr(0, length);
            for (const auto call : {getValues, getNames, getAttributes}) {
                startBus({done + texts({cut})});
                call();
            }
            startBus({refusal(cut)});
            setValues();
            startBus({u16(1) + text(cut)});
            getEvents();
        }
    }
    withEveryAllocationFailing([&] {
        startBus({refusal("A=9005 no")});
        const std::string result = setValues();
        EXPECT_EQ("9003 ", result.substr(0, 5)) << "the backend's own code stands";
        EXPECT_EQ("11 23", sentOperations());
    });
}

TEST(SetAttributes, KeepsThreeNotifications)
{
    using Row = std::tuple<std::string, int, int, int>; // name, the two changes, code
    for (auto [name, notification, accessList, code] :
         {Row{"InternetGatewayDevice.DeviceInfo.SoftwareVersion", 1, 0, 9009},
          Row{"InternetGatewayDevice.DeviceInfo.ProvisioningCode", 1, 1, 9009},
          Row{"X.ExternalIPAddress", 1, 0, 9009}, Row{"X.ExternalIPAddress", 0, 1, 0},
          Row{"X.ExternalIPAddress.", 1, 0, 0}, Row{"A", 0, 0, 0}}) {
        SCOPED_TRACE(name);
        ParamAttrEntry last = {name.data(), notification, 1, accessList, 0, nullptr, nullptr};
        ParamAttrEntry first = {one, notification, 1, accessList, 0, nullptr, &last};
        startBus({done});
        EXPECT_EQ(code, setParamAttr_Request(&first));
        EXPECT_EQ(code == 0 && notification + accessList > 0 ? "16 23" : "", sentOperations());
    }
}

TEST(Bus, NumbersItsMessagesRoundTheCounter)
{
    const auto sequence = [] { return sentMessages().back().bytes.substr(4, 4); };
    startBus({});
    clearEvents();
    uint16_t low = 0;
    memcpy(&low, sequence().data() + (sequence().substr(2) == u16(0x0901) ? 0 : 2), sizeof low);
    for (int i = 0; i < 65536; ++i) {
        clearEvents();
        ASSERT_EQ(u32(0x09010000U | ++low), sequence());
    }
    startBus({}, {1, 0, 0});
    clearEvents();
    clearEvents();
    EXPECT_EQ(u32(0x09010000U | ++low), sequence()); // a message that never was takes no number
}

TEST(TransferComplete, MapsTheBackendsCodes)
{
    using Row = std::pair<std::string, std::string>;
    for (const auto &[code, result] :
         {Row{"9011", "9011|Unable to connect to upload server"},
          Row{"9010", "9010|Download file from server failed"},
          Row{"9015", "9011|server is not allowed to write in"},
          Row{"9801", "9010|unable to connect to the server"},
          Row{"9001", "9001|Request denied!FileType is not supported."},
          Row{"9012", "9012|Authorization failed."}, Row{"9013", "9013|Transfer protocol do not support."},
          Row{"0", "0|"}, Row{"9002", "9002|"}, Row{"", "0|"}}) {
        startBus({text("") + text(code) + text("") + text("")});
        EXPECT_EQ("|" + result + "||", getTransfer());
    }
}

TEST(Getters, FallBackOnTheirDefaults)
{
    struct Row {
        const char *name;
        char *(*call)();
        const char *whenEmpty;
        const char *whenRefused;
    };
    for (const Row &row :
         {Row{"DeviceInfo.Manufacturer", getManufacturer, "Kestrow", "Kestrow"},
          Row{"DeviceInfo.ManufacturerOUI", getOUI, "00D3A9", "00D3A9"},
          Row{"DeviceInfo.ProductClass", getProductClass, "IGD", "IGD"},
          Row{"DeviceInfo.SerialNumber", getSerialNumber, "11111111", "11111111"},
          Row{"ManagementServer.URL", getACSURL, "", nullptr},
          Row{"ManagementServer.Username", [] { return sendNGetUsername(); }, nullptr, nullptr},
          Row{"ManagementServer.Password", [] { return sendNGetPassword(); }, nullptr, nullptr},
          Row{"ManagementServer.X_QXNV-COM_CAFilePath", [] { return sendNGetCAFilePath(); }, nullptr,
              nullptr}}) {
        SCOPED_TRACE(row.name);
        const bool serial = row.call == getSerialNumber;
        for (const auto &[reply, value] :
             {std::pair(done + texts({"N string="}), row.whenEmpty),
              std::pair(done + texts({"N string=none"}), serial ? "11111111" : "none"),
              std::pair(done + texts({"N string=N/A"}), serial ? "11111111" : "N/A"),
              std::pair(done + texts({"N string=None"}), "None"),
              std::pair(done + texts({}), row.whenRefused), std::pair(u32(9005), row.whenRefused)}) {
            startBus({reply});
            const OwnedText got(row.call());
            EXPECT_STREQ(value, got.get());
            EXPECT_EQ(texts({std::string("InternetGatewayDevice.") + row.name}), sentMessages()[0].body);
        }
    }
    int status = 5;
    startBus({});
    EXPECT_EQ(nullptr, sendNGetUsername(&status));
    EXPECT_EQ(0, status);
    const OwnedText id(getNewSessionId());
    EXPECT_EQ(std::to_string(std::stoi(id.get())), id.get());
}

// What the backend has: a value for every name, which stands in the result without the root's name.
struct InformRow {
    const char *name;
    const char *wanPath;
    const char *refused; // a part of the names that are not there
    int busyAnswers;     // before the changed values come
    std::string result;
    std::string operations;
};

static std::string informList(const InformRow &row)
{
    int busy = row.busyAnswers;
    startAnsweringBus([&row, busy](const SentMessage &message) mutable {
        const std::string name(message.body.c_str() + 4);
        if (message.operation == 18)
            return busy-- > 0 ? u32(7007) : done + texts({"V1 int=1", "V2 int=2"});
        if (*row.refused != '\0' && name.find(row.refused) != name.npos)
            return u32(9005);
        const std::string rootless = name.substr(name.rfind("InternetGatewayDevice.", 0) == 0 ? 22 : 0);
        return done +
               texts({rootless + " s=" + (name.find("WANConnectionPath") != name.npos ? row.wanPath : "v")});
    });
    ParameterValueRecord *list = getParameterList();
    EXPECT_EQ(0, messagesHeld());
    return list == nullptr ? "(null)" : dump(list, freeParamValueStr);
}

#define HEAD                                                                                                 \
    " DeviceInfo.SpecVersion|s|v DeviceInfo.HardwareVersion|s|v DeviceInfo.SoftwareVersion|s|v"              \
    " DeviceInfo.ProvisioningCode|s|v"
#define SERVER " ManagementServer.ParameterKey|s|v ManagementServer.ConnectionRequestURL|s|v"
#define CHANGED " V1|int|1 V2|int|2"
#define TAIL " DeviceSummary|s|v LANDevice.1.LANEthernetInterfaceConfig.1.MACAddress|s|v"

TEST(InformParameters, WalkTheirTable)
{
    const std::string toServer = "10 10 10 10 10 10 10 10";
    for (const InformRow &row : {
             InformRow{"no PPP", "W", "", 0, HEAD " W.ExternalIPAddress|s|v" SERVER CHANGED TAIL,
                       toServer + " 18 10 10"},
             InformRow{"PPP", "WANPPP", "", 5,
                       HEAD " WANPPP.ExternalIPAddress|s|v" SERVER CHANGED " WANPPP.Username|s|v" TAIL,
                       toServer + " 18 18 18 18 18 18 10 10 10"},
             InformRow{"busy for ever", "WANPPP", "", 99, HEAD " WANPPP.ExternalIPAddress|s|v" SERVER,
                       toServer + " 18 18 18 18 18 18"},
             InformRow{"no address", "W", "External", 0,
                       HEAD " W.ExternalIPAddress|string|" SERVER CHANGED TAIL, toServer + " 18 10 10"},
             InformRow{"no user name", "WANPPP", "Username", 0,
                       HEAD " WANPPP.ExternalIPAddress|s|v" SERVER CHANGED " WANPPP.Username|(null)|" TAIL,
                       toServer + " 18 10 10 10"},
             InformRow{"no path", "", "ConnectionPath", 0, "(null)", "10 10 10 10 10"},
             InformRow{"no required one", "W", "MACAddress", 0, "(null)", toServer + " 18 10 10"},
         }) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.result, informList(row));
        EXPECT_EQ(row.operations, sentOperations());
        withEveryAllocationFailing([&] { informList(row); });
    }
}

TEST(InformParameters, ReportWhatThisRunWasGiven)
{
    cl_conreq_url = "http://<me>";
    cl_xternal_ip = "10.0.0.1";
    const std::string given = informList({"", "W", "External", 0, "", ""});
    EXPECT_NE(given.npos, given.find(" W.ExternalIPAddress|string|10.0.0.1 "));
    EXPECT_NE(given.npos, given.find(".ConnectionRequestURL|s|http://<me> "));
    cl_conreq_url = "";
    const std::string own = informList({"", "W", "", 0, "", ""});
    EXPECT_NE(own.npos, own.find(" W.ExternalIPAddress|s|v" SERVER));
    cl_conreq_url = cl_xternal_ip = nullptr;
}
