#include "device_requests.h"
#include "inform_parameters.h"
#include "parameter_requests.h"
#include "transfer_requests.h"

#include "failing_allocator.h"
#include "owned.h"
#include "scripted_platform.h"
#include "texts.h"

#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

using std::string;
using std::to_string;

// Each request as its callers make it, its outputs in one text: "code [outputs]". What they give is freed.

static string print(const ParameterValueRecord &r) { return bars(r.name, r.type, r.value); }
static string print(const ParameterFaultRecord &r) { return bars(r.parameterName, r.faultCode, r.faultStr); }
static string print(const ParameterNameRecord &r) { return bars(r.name, r.writable); }
static string print(const InformEvent &r) { return bars(r.eventCode, r.commandKey); }
static string print(const ParameterAttributeRecord &r)
{
    string all = bars(r.name, r.notification);
    for (int i = 0; i < r.accessListCount; ++i)
        all += bars("", r.accessList[i]);
    return all;
}

template <typename Record> static string take(Record *list, void (*freeList)(Record *))
{
    const string all = printList(list);
    freeList(list);
    return all;
}

template <typename Record, typename Ask> static string read(void (*freeList)(Record *), Ask ask)
{
    int fault = -5;
    const string list = take(ask(&fault), freeList);
    return to_string(fault) + list;
}

static string withReboot(int status, int reboot)
{
    return " status " + to_string(status) + (reboot == 1 ? " reboot" : "");
}

template <typename Transfer>
static string transfer(int (*order)(const Transfer *, char *, char *), const Transfer &request)
{
    char start[kTransferTimeSize], complete[kTransferTimeSize];
    const int status = order(&request, start, complete);
    return bars(status, start, complete);
}

static char one[] = "A.B", two[] = "C.", key[] = "k", size[] = "3000000000", soon[] = "soon", minute[] = "60";
static const char *const names[] = {one, two};

using Call = string (*)();
constexpr Call getValues = [] {
    return read(freeParamValueStr, [](int *fault) { return getParamValue_Request(names, 2, fault); });
};
constexpr Call setValues = [] {
    char first[] = "1", empty[] = "";
    ParamValueEntry last = {two, empty, nullptr, nullptr}, entry = {one, first, nullptr, &last};
    const SetParamValStr request = {nullptr, &entry};
    int fault = -5, status = -5, reboot = 0;
    const string list =
        take(setParamValue_Request(&request, &fault, &status, &reboot), freeSetParamFaultStructure);
    return to_string(fault) + withReboot(status, reboot) + list;
};
constexpr Call getNames = [] {
    return read(freeParamNameRecords, [](int *fault) { return getParamNames_Request(two, 7, fault); });
};
constexpr Call getAttributes = [] {
    return read(freeParamAttrRecords, [](int *fault) { return getParamAttr_Request(names, 2, fault); });
};
constexpr Call changeAttributes = [] {
    char first[] = "Subscriber", second[] = "x", address[] = "A.ExternalIPAddress", shortName[] = "P";
    char *entries[] = {first, second};
    ParamAttrEntry skipped = {shortName, 0, 1, 0, 2, entries, nullptr};
    ParamAttrEntry kept = {address, 0, 2, 1, 2, entries, &skipped};
    const ParamAttrEntry list = {one, 1, 2, 1, 0, nullptr, &kept};
    return to_string(setParamAttr_Request(&list));
};
static string changeOne(const char *rootless, int notification, int accessList)
{
    string name = string("InternetGatewayDevice.") + rootless;
    ParamAttrEntry last = {name.data(), notification, 1, accessList, 0, nullptr, nullptr};
    ParamAttrEntry first = {one, notification, 1, accessList, 0, nullptr, &last};
    return to_string(setParamAttr_Request(&first));
}
static string changeObject(const char *method)
{
    const AddDelObjStr request = {two, key};
    int instance = -5, status = -5, reboot = 0;
    const int fault = addDelObject_Request(&request, &instance, method, &status, &reboot);
    return to_string(fault) + " instance " + to_string(instance) + withReboot(status, reboot);
}
constexpr Call addObject = [] { return changeObject("AddObject"); };
constexpr Call getEvents = [] {
    InformEvent *list = nullptr;
    const int code = SendXMLInformEvent(&list);
    return to_string(code) + take(list, freeEventList);
};
constexpr Call getTransfer = []() -> string {
    const Owned<TransferCompleteRecord, freeTCDS> r(getTCDS());
    return r == nullptr
               ? "-"
               : bars(r->commandKey, r->fault->code, r->fault->string, r->startTime, r->completeTime);
};
constexpr Call download = [] {
    return transfer(getDownloadType, {key, one, two, nullptr, nullptr, size, nullptr, soon, nullptr, one});
};
constexpr Call upload = [] { return transfer(getUploadType, {nullptr, one, two, key, nullptr, minute}); };
constexpr Call clearEvents = [] { return to_string(SendClearEvents_Cmd(1035, 46)); };

static string ended(const char *code) { return text("k") + text(code) + text("s") + text("c"); }

static const string done = u32(0), object = " instance 0 status 0", no = u32(0x10000 + 9005);
const BusFailures well = {}, unmade = {1, 0, 0}, unmade2 = {2, 0, 0}, lost = {0, 0, 1};
const BusFailures unsent = {0, 1, 0}, unsent2 = {0, 2, 0}, unsent3 = {0, 3, 0};

static const struct {
    const char *name;
    Call call;
    string reply;
    const char *operations;
    string result;
    BusFailures failures = {};
    string body = "any"; // of the first message
} requests[] = {
    {"get values", getValues, done + texts({"A.B string=a=<b> \"c\"", "C.D int=7", "E", "F bool"}), "10",
     "0 A.B|string|a=&lt;b&gt; &quot;c&quot; C.D|int|7 E|| F|bool|", well, texts({"A.B", "C."})},
    {"set values", setValues, done + u32(1), "11 23 44", "0 status 1 reboot", well, texts({"A.B=1", "C.="})},
    {"get names", getNames, done + texts({"C.1. Writable=\"1", "C.D Writable=\"0"}), "14", "0 C.1.|1 C.D|0",
     well, '\1' + text("C.")},
    {"get attributes", getAttributes,
     done + texts({"A Notification=\"2\" AccessList=\"x y z", "B Notification=\"0\"AccessList=\"S\"",
                   "C Notification=\"1\" AccessList=\""}),
     "15", "0 A|2|x|y|z B|0|S C|1|", well, texts({"A.B", "C."})},
    {"set attributes", changeAttributes, done, "16 23", "0", well,
     texts({"A.B Notification=\"2\" AccessList=\"", "A.ExternalIPAddress AccessList=\"Subscriber x"})},
    {"add object", addObject, done + u32(3) + done, "12 44 23", "0 instance 3 status 0", well, text("C.")},
    {"delete object", [] { return changeObject("Delete"); }, done + u32(1), "13 44 23",
     "0 instance 0 status 1 reboot", well, text("C.")},
    {"events", getEvents, u16(2) + "1 BOOT=;M Reboot=k=1;", "45", "0 1 BOOT| M Reboot|k=1", well, ""},
    {"clear events", clearEvents, "", "46", "0", well, ""},
    {"download", download, u32(1) + text(string(64, 's')) + text("c"), "47", "1|" + string(63, 's') + "|c",
     well, u32(3000000000) + done + text("k") + text("A.B") + text("C.") + done + text("A.B")},
    {"upload", upload, done + text("") + text(""), "48", "0||", well,
     u32(60) + text("") + text("A.B") + text("C.") + text("k") + text("")},
    {"reboot", [] { return to_string(sendRebootSignal(key)); }, done, "49", "0", well, text("k")},
    {"factory reset", [] { return to_string(factoryResetSignal()); }, done, "50", "0", well, ""},
    {"schedule", [] { return to_string(SendScheduleDelay("-2", nullptr)); }, done, "51", "0", well,
     u32(1) + u32(0xFFFFFFFE) + text("")},
    {"transfer complete", getTransfer, ended("9801"), "52", "k|9010|unable to connect to the server|s|c",
     well, ""},
    {"unknown code", getTransfer, ended("9002"), "52", "k|9002||s|c"},
    {"mapped code", getTransfer, ended("9015"), "52", "k|9011|server is not allowed to write in|s|c"},
    {"known code", getTransfer, ended("9012"), "52", "k|9012|Authorization failed.|s|c"},
    {"values", getValues, no, "10", "9005"},
    {"no code in the low half", getValues, u32(0x10000), "10", "9002"},
    {"marked", setValues, u32(9003) + u32(1) + texts({"A=565535 no good", "B=9008", "C", "D=9006x"}), "11 23",
     "9007 status 0 A|9007|no good B|9008| C|0| D|9006|"},
    {"names", getNames, u32(9005), "14", "9005"},
    {"not writable or not", getNames, done + texts({"A Writable=\"1", "B Write"}), "14", "-1"},
    {"name only", getNames, done + texts({"A"}), "14", "-1"},
    {"attributes", getAttributes, no, "15", "9005"},
    {"no access list", getAttributes, done + texts({"A Notification=\"1\""}), "15", "9002"},
    {"no notification", getAttributes, done + texts({"A AccessList=\"x"}), "15", "9002"},
    {"set attributes", changeAttributes, u32(9009), "16 23", "9009"},
    {"add", addObject, u32(9004), "12", "9004" + object},
    {"fewer events than counted", getEvents, u16(3) + text("1 BOOT=;M Reboot=k"), "45", "9002"},
    {"no events", getEvents, u16(0), "45", "0"},
    {"refused transfer", download, u32(2) + u32(0x7000000 + 9010), "47", "9010||"},
    {"code that looks accepted", upload, u32(9011) + u32(1), "48", "9002||"},
    {"no message", getValues, "", "", "9002", unmade},
    {"not sent", getNames, "", "", "77", unsent},
    {"no reply", getAttributes, "", "15", "77", lost},
    {"lost set", setValues, "", "11", "77 status 0", lost},
    {"lost commit", setValues, done + done, "11", "77 status 0", unsent2},
    {"lost commit of a refusal", setValues, u32(9003) + texts({}) + texts({"A=9005 x"}), "11",
     "9003 status 0", unsent2},
    {"lost key", setValues, done + done, "11 23", "0 status 0", unsent3},
    {"unsent add", addObject, "", "", "77" + object, unsent},
    {"lost add", addObject, "", "12", "0 instance 0 status 1", lost},
    {"lost key of an add", addObject, done + u32(1) + u32(1), "12", "77 instance 1 status 1 reboot", unsent2},
    {"lost attributes", changeAttributes, "", "16", "77", lost},
    {"lost commit of attributes", changeAttributes, done, "16", "77", unsent2},
    {"refusal before a lost commit", changeAttributes, u32(9008), "16", "9008", unmade2},
    {"lost transfer", download, "", "47", "9002||", lost},
    {"nothing of a transfer", getTransfer, "", "52", "-|0|-|-|-", lost},
    {"version", [] { return changeOne("DeviceInfo.SoftwareVersion", 1, 0); }, done, "", "9009"},
    {"code", [] { return changeOne("DeviceInfo.ProvisioningCode", 1, 1); }, done, "", "9009"},
    {"address", [] { return changeOne("X.ExternalIPAddress", 1, 0); }, done, "", "9009"},
    {"address's list", [] { return changeOne("X.ExternalIPAddress", 0, 1); }, done, "16 23", "0"},
    {"address's child", [] { return changeOne("X.ExternalIPAddress.", 1, 0); }, done, "16 23", "0"},
    {"no change", [] { return changeOne("X", 0, 0); }, done, "", "0"},
};

TEST(Requests, SendTheirBytesAndReadTheirReplies)
{
    for (const auto &row : requests) {
        SCOPED_TRACE(row.name);
        startBus({row.reply}, row.failures);
        EXPECT_EQ(row.result, row.call());
        EXPECT_EQ(row.operations, sentOperations());
        EXPECT_EQ(0, messagesHeld());
        const SentMessage *first = sentMessages().data();
        for (const SentMessage &message : sentMessages()) {
            EXPECT_EQ(u16(2305) + u16(message.operation < 44 ? 1028 : 1035), message.bytes.substr(0, 4));
            const string later = message.operation == 23 ? "" : text(row.call == setValues ? "" : "k");
            EXPECT_EQ(&message != first ? later : row.body == "any" ? message.body : row.body, message.body);
        }
        // Of a refusal with a list at least the backend's own code is left; a value that cannot be escaped is
        // handed out as it is.
        const bool refused = row.result.rfind("9007", 0) == 0;
        bool unescaped = false;
        withEveryAllocationFailing([&] {
            startBus({row.reply}, row.failures);
            const string result = row.call();
            unescaped = unescaped || result.find("<b>") != result.npos;
            EXPECT_TRUE(result == row.result || result.rfind(refused ? "9003 " : "9002", 0) == 0 ||
                        result == "-" || result.rfind("-|0|", 0) == 0 || unescaped)
                << result;
            EXPECT_EQ(refused, refused && sentOperations() == "11 23");
        });
        EXPECT_EQ(row.call == getValues && row.body != "any", unescaped);
        // What is longer than two numbers ends in a text. Cut at each byte: no read goes past its NUL.
        const string &reply = row.reply;
        const size_t end = reply.size() > 8 && reply.back() == '\0' ? reply.size() - 1 : 0;
        for (size_t at = end; at > 0 && reply[at - 1] != '\0'; --at) {
            startBus({reply.substr(0, at - 1) + '\0'}, row.failures);
            row.call();
        }
    }
}

TEST(Bus, NumbersItsMessagesRoundTheCounter)
{
    const auto sequence = [] {
        clearEvents();
        uint32_t value = 0;
        memcpy(&value, sentMessages().back().bytes.data() + 4, sizeof value);
        return value;
    };
    startBus({});
    for (uint32_t i = 0, low = sequence() & 0xFFFF; i < 65536; ++i)
        ASSERT_EQ(0x09010000U | (++low & 0xFFFF), sequence());
    const uint32_t next = (sequence() + 1) & 0xFFFF;
    startBus({}, unmade);
    clearEvents();
    EXPECT_EQ(next, sequence() & 0xFFFF) << "a message that never was takes no number";
}

TEST(Getters, FallBackOnTheirDefaults)
{
    const char noDefault[] = "- none N/A None - - ";
    const std::tuple<string, char *(*)(), string> getters[] = {
        // the last: its value for each reply below
        {"DeviceInfo.Manufacturer", getManufacturer, "Kestrow none N/A None Kestrow Kestrow "},
        {"DeviceInfo.ManufacturerOUI", getOUI, "00D3A9 none N/A None 00D3A9 00D3A9 "},
        {"DeviceInfo.ProductClass", getProductClass, "IGD none N/A None IGD IGD "},
        {"DeviceInfo.SerialNumber", getSerialNumber, "11111111 11111111 11111111 None 11111111 11111111 "},
        {"ManagementServer.URL", getACSURL, " none N/A None - - "},
        {"ManagementServer.Username", [] { return sendNGetUsername(); }, noDefault},
        {"ManagementServer.Password", [] { return sendNGetPassword(); }, noDefault},
        {"ManagementServer.X_QXNV-COM_CAFilePath", [] { return sendNGetCAFilePath(); }, noDefault},
    };
    for (const auto &[name, call, expected] : getters) {
        string values;
        for (const string value : {"", "none", "N/A", "None", "-", "no"}) {
            startBus({value == "-" ? done + done : value == "no" ? no : done + texts({"N s=" + value})});
            values += print(OwnedText(call()).get()) + " ";
            EXPECT_EQ(texts({"InternetGatewayDevice." + name}), sentMessages()[0].body);
        }
        EXPECT_EQ(expected, values) << name;
    }
    int status = 5;
    startBus({});
    EXPECT_EQ(nullptr, sendNGetUsername(&status));
    EXPECT_EQ(0, status);
}

// What the backend has: a value for every name, which stands in the result without the root's name.
struct Inform {
    const char *name, *wanPath;
    const char *refused; // a part of the names that are not there
    int busyAnswers;     // before the changed values come
    string result, operations;
};

static string informList(const Inform &row)
{
    startAnsweringBus([&row, busy = row.busyAnswers](const SentMessage &message) mutable {
        const string name(message.body.c_str() + 4);
        if (message.operation == 18)
            return busy-- > 0 ? u32(7007) : done + texts({"V1 int=1", "V2 int=2"});
        if (*row.refused != '\0' && name.find(row.refused) != name.npos)
            return u32(9005);
        const string rootless = name.substr(name.rfind("InternetGatewayDevice.", 0) == 0 ? 22 : 0);
        return done + texts({rootless + " s=" + (name.find("WANConn") != name.npos ? row.wanPath : "v")});
    });
    ParameterValueRecord *list = getParameterList();
    EXPECT_EQ(0, messagesHeld());
    return list == nullptr ? "-" : take(list, freeParamValueStr);
}

static const string server = " ManagementServer.ParameterKey|s|v ManagementServer.ConnectionRequestURL|s|v";
static const string changed = server + " V1|int|1 V2|int|2";

TEST(InformParameters, WalkTheirTable)
{
    const string head = " DeviceInfo.SpecVersion|s|v DeviceInfo.HardwareVersion|s|v"
                        " DeviceInfo.SoftwareVersion|s|v DeviceInfo.ProvisioningCode|s|v";
    const string ppp = head + " WANPPP.ExternalIPAddress|s|v";
    const string tail = " DeviceSummary|s|v LANDevice.1.LANEthernetInterfaceConfig.1.MACAddress|s|v";
    const string toServer = "10 10 10 10 10 10 10 10", all = toServer + " 18 10 10";
    const string busy = toServer + " 18 18 18 18 18 18";
    const Inform rows[] = {
        {"no PPP", "W", "", 0, head + " W.ExternalIPAddress|s|v" + changed + tail, all},
        {"PPP", "WANPPP", "", 5, ppp + changed + " WANPPP.Username|s|v" + tail, busy + " 10 10 10"},
        {"busy for ever", "WANPPP", "", 99, ppp + server, busy},
        {"no address", "W", "External", 0, head + " W.ExternalIPAddress|string|" + changed + tail, all},
        {"no user name", "WANPPP", "Username", 0, ppp + changed + " WANPPP.Username|-|" + tail, all + " 10"},
        {"no path", "", "ConnectionPath", 0, "-", "10 10 10 10 10"},
        {"no required one", "W", "MACAddress", 0, "-", all},
    };
    for (const Inform &row : rows) {
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
    const string given = informList({"", "W", "External", 0, "", ""});
    EXPECT_NE(given.npos, given.find(" W.ExternalIPAddress|string|10.0.0.1 "));
    EXPECT_NE(given.npos, given.find(".ConnectionRequestURL|s|http://<me> "));
    cl_conreq_url = "";
    const string own = informList({"", "W", "", 0, "", ""});
    EXPECT_NE(own.npos, own.find(" W.ExternalIPAddress|s|v" + server));
    cl_conreq_url = cl_xternal_ip = nullptr;
}
