#include "soap_writer.h"

#include "failing_allocator.h"
#include "owned.h"
#include "texts.h"

#include <functional>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using std::string;

static const string kOpen =
    "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
    "xmlns:cwmp=\"urn:dslforum-org:cwmp-1-0\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">";
static const string kBody = "<SOAP-ENV:Body>", kClose = "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
static const string kHeader = "<SOAP-ENV:Header><cwmp:ID SOAP-ENV:mustUnderstand=\"1\">17</cwmp:ID>"
                              "<cwmp:Hold> </cwmp:Hold></SOAP-ENV:Header>";

// The writers never write to or free their records, so literals can stand in them.
static char *text(const char *literal) { return const_cast<char *>(literal); }

static ParameterValueRecord value(const char *name, const char *type, const char *value)
{
    return {text(type), text(value), text(name), nullptr};
}

using Header = const SoapHeaderEntry *;

// One complete record for each writer.
struct Records {
    SoapHeaderEntry hold = {text("Hold"), text(" "), 2, nullptr};
    SoapHeaderEntry header = {text("ID"), text("17"), 1, &hold};
    SoapHeaderEntry badHeader = {text("ID"), nullptr, 0, nullptr};
    DeviceId identity = {text("Acme"), text("00AB01"), text(" "), text("S1")};
    InformEvent reboot = {text("M Reboot"), text("k"), nullptr};
    InformEvent event = {text("7 TRANSFER COMPLETE"), text(""), &reboot};
    ParameterValueRecord blank = value("A.C", "string", " ");
    ParameterValueRecord number = value("A.B", "int", "&lt;2");
    InformRecord informed = {&identity, &event, 1, 951782400, 10, &number};
    ParameterNameRecord parameter = {text("A.B"), 1, nullptr};
    ParameterNameRecord object = {text("A."), 0, &parameter};
    char *access[2] = {text("Subscriber"), text("")};
    ParameterAttributeRecord behind = {text("A.D"), 0, 0, nullptr, nullptr};
    ParameterAttributeRecord end = {text("A."), 0, 0, nullptr, &behind};
    ParameterAttributeRecord nobody = {text(""), 0, 9, nullptr, &end};
    ParameterAttributeRecord somebody = {text("A.B"), 2, 2, access, &nobody};
    TransferFault ended = {9010, nullptr, nullptr};
    TransferCompleteRecord transferred = {text("key"), text("s"), text(""), &ended};
    SetParamFaultStr stringless = {9007, nullptr, text("A.Z"), nullptr};
    SetParamFaultStr codeless = {0, text("s"), text("A.Y"), &stringless};
    SetParamFaultStr refused = {9005, text("bad"), text("A.X"), &codeless};
    FaultDetailStr detail = {9003, text("Invalid"), &refused};
    FaultStr failed = {text("Client"), text("CWMP fault"), &detail};
    int rpcFault = -1;

    Records() { number.next = &blank; }
    char *inform(Header h, int *n) { return construct_InformMessage(&informed, h, n); }
    char *values(Header h, int *n) { return construct_GetParamValueRespose(&number, h, n, 99); }
    char *names(Header h, int *n) { return construct_GetParamNamesValueRespose(&object, h, n); }
    char *attributes(Header h, int *n) { return construct_GetParamNamesAttrRespose(&somebody, h, n); }
    char *complete(Header h, int *n)
    {
        return construct_TrasferCompleteSoapMessage(&transferred, "TransferComplete", h, n);
    }
    char *methods(Header h, int *n) { return construct_GetRPCMethodSoapMessage("Get", h, n, &rpcFault); }
    char *download(Header h, int *n) { return construct_DownloadRespose(1, nullptr, "", h, n); }
    char *empty(Header h, int *n) { return construct_EmptySoapMessage("Fault", h, n); }
    char *setValues(Header h, int *n) { return construct_SetParamValueRespose(-3, h, n); }
    char *noValues(Header h, int *n) { return construct_GetParamValueRespose(nullptr, h, n, 1); }
    char *noNames(Header h, int *n) { return construct_GetParamNamesValueRespose(nullptr, h, n); }
    char *upload(Header h, int *n) { return construct_UploadRespose(0, "s", " ", h, n); }
    char *fault(Header h, int *n) { return construct_FaultResponse(&failed, h, n); }
};

// The message of a call, or "null"; its length must agree.
using Write = std::function<char *(Records &records, Header header, int *length)>;
static string take(const Write &write, Records &records, Header header = nullptr)
{
    int length = -7;
    const OwnedText message(write(records, header, &length));
    EXPECT_EQ(message == nullptr ? 0U : strlen(message.get()), static_cast<size_t>(length));
    return message == nullptr ? "null" : message.get();
}

static Write addDelete(const char *method, int instance, int status)
{
    return
        [=](auto &, auto h, int *n) { return construct_AddDelObjectRespose(method, instance, status, h, n); };
}

// The text without its line ends and the blanks behind them.
static string flat(const string &lines) { return std::regex_replace(lines, std::regex("\n *"), ""); }

static const string kValues = flat(R"(<ParameterList SOAP-ENC:arrayType="cwmp:ParameterValueStruct[2]">
    <ParameterValueStruct><Name>A.B</Name><Value xsi:type="xsd:int">&lt;2</Value></ParameterValueStruct>
    <ParameterValueStruct><Name>A.C</Name><Value xsi:type="xsd:string"></Value></ParameterValueStruct>
    </ParameterList>)");
static const string kNoNames =
    "<ParameterList SOAP-ENC:arrayType=\"cwmp:ParameterInfoStruct[0]\"></ParameterList>";

// Every message: its tag and its body letter by letter.
TEST(SoapWriter, WritesEveryMessage)
{
    string methods = "<MethodList SOAP-ENC:arrayType=\"xsd:string[13]\">";
    for (const char *method :
         {"GetRPCMethods", "SetParameterValues", "GetParameterValues", "GetParameterNames",
          "SetParameterAttributes", "GetParameterAttributes", "AddObject", "DeleteObject", "Reboot",
          "Download", "Upload", "FactoryReset", "ScheduleInform"})
        methods += tag("string", method);
    setenv("TZ", "Asia/Tokyo", 1); // the time is UTC wherever the device stands
    const struct {
        const char *tag;
        Write write;
        string body;
    } rows[] = {
        {"cwmp:Inform", &Records::inform, R"(
            <DeviceId><Manufacturer>Acme</Manufacturer><OUI>00AB01</OUI><ProductClass></ProductClass>
            <SerialNumber>S1</SerialNumber></DeviceId><Event SOAP-ENC:arrayType="cwmp:EventStruct[2]">
            <EventStruct><EventCode>7 TRANSFER COMPLETE</EventCode><CommandKey></CommandKey></EventStruct>
            <EventStruct><EventCode>M Reboot</EventCode><CommandKey>k</CommandKey></EventStruct></Event>
            <MaxEnvelopes>1</MaxEnvelopes><CurrentTime>2000-02-29T00:00:00-05:00</CurrentTime>
            <RetryCount>10</RetryCount>)" + kValues},
        {"cwmp:SetParameterValuesResponse", &Records::setValues, "<Status>1</Status>"},
        {"cwmp:GetParameterValuesResponse", &Records::values, kValues},
        {"cwmp:GetParameterValuesResponse", &Records::noValues, kNoNames},
        {"cwmp:GetParameterNamesResponse", &Records::names, R"(
            <ParameterList SOAP-ENC:arrayType="cwmp:ParameterInfoStruct[2]">
            <ParameterInfoStruct><Name>A.</Name><Writable>0</Writable></ParameterInfoStruct>
            <ParameterInfoStruct><Name>A.B</Name><Writable>1</Writable></ParameterInfoStruct></ParameterList>)"},
        {"cwmp:GetParameterNamesResponse", &Records::noNames, kNoNames},
        {"cwmp:GetParameterAttributesResponse", &Records::attributes, R"(
            <ParameterList SOAP-ENC:arrayType="cwmp:ParameterAttributeStruct[2]"><ParameterAttributeStruct>
            <Name>A.B</Name><Notification>2</Notification><AccessList SOAP-ENC:arrayType="xsd:string[2]">
            <string>Subscriber</string><string></string></AccessList></ParameterAttributeStruct>
            <ParameterAttributeStruct><Name></Name><Notification>0</Notification>
            <AccessList SOAP-ENC:arrayType="xsd:string[0]"></AccessList></ParameterAttributeStruct>
            </ParameterList>)"},
        {"cwmp:AddResponse", addDelete("Add", INT_MAX, 1),
         "<InstanceNumber>2147483647</InstanceNumber><Status>1</Status>"},
        {"cwmp:AddObjectResponse", addDelete("AddObject", 0, 0), "<Status>0</Status>"},
        {"cwmp:DeleteObjectResponse", addDelete("DeleteObject", 7, 0), "<Status>0</Status>"},
        {"cwmp:DownloadResponse", &Records::download, "<Status>1</Status>"},
        {"cwmp:UploadResponse", &Records::upload,
         "<Status>0</Status><StartTime>s</StartTime><CompleteTime></CompleteTime>"},
        {"cwmp:FaultResponse", &Records::empty, ""},
        {"cwmp:TransferComplete", &Records::complete, R"(
            <CommandKey>key</CommandKey><StartTime>s</StartTime><CompleteTime></CompleteTime>
            <FaultStruct><FaultCode>9010</FaultCode><FaultString></FaultString></FaultStruct>)"},
        {"cwmp:GetRPCMethods", &Records::methods, methods + "</MethodList>"},
        {"SOAP-ENV:Fault", &Records::fault, R"(
            <faultcode>Client</faultcode><faultstring>CWMP fault</faultstring><detail><cwmp:Fault>
            <FaultCode>9003</FaultCode><FaultString>Invalid</FaultString>
            <SetParameterValuesFault><ParameterName>A.X</ParameterName><FaultCode>9005</FaultCode>
            <FaultString>bad</FaultString></SetParameterValuesFault>
            <SetParameterValuesFault><ParameterName>A.Y</ParameterName></SetParameterValuesFault>
            <SetParameterValuesFault><ParameterName>A.Z</ParameterName></SetParameterValuesFault>
            </cwmp:Fault></detail>)"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.tag);
        Records r;
        const string body = flat(row.body);
        const string rest = kBody + "<" + row.tag + ">" + body + "</" + row.tag + ">" + kClose;
        EXPECT_EQ(kOpen + rest, take(row.write, r));
        EXPECT_EQ(kOpen + kHeader + rest, take(row.write, r, &r.header));
        testing::internal::CaptureStdout();
        EXPECT_EQ("null", take(row.write, r, &r.badHeader));
        EXPECT_EQ("null in fillMsgSoapHdr\n", testing::internal::GetCapturedStdout());
        int failures = 0;
        withEveryAllocationFailing([&] { failures += take(row.write, r) == "null" ? 1 : 0; });
        EXPECT_EQ(2, failures) << "there is one allocation: it failed alone, and with all later ones";
    }
}

TEST(SoapWriter, FramesAnyMethod)
{
    Records r;
    using Row = std::tuple<const char *, int, string>;
    for (const auto &[name, response, tagEnd] :
         {Row{nullptr, 0, ""}, Row{"Inform", 0, "cwmp:Inform>"}, Row{"Faulty", 0, "SOAP-ENV:Faulty>"},
          Row{"Faul", 0, "cwmp:Faul>"}, Row{"Reboot", 1, "cwmp:RebootResponse>"}}) {
        int n = 0;
        const OwnedText open(fillMsgSoapHdr(name, &r.header, &n, response)),
            close(fillMsgSoapClosing(name, &n, response));
        EXPECT_EQ(kOpen + kHeader + (tagEnd.empty() ? "" : kBody + "<" + tagEnd), open.get());
        EXPECT_EQ((tagEnd.empty() ? "" : "</" + tagEnd) + kClose, close.get());
    }
    MessageWriter counter = {};
    const std::vector<size_t> sizes = {sizeHeaderEntry("ID", "x"), sizeHeaderEntry("ID", nullptr),
                                       sizeElement("ab", " "), sizeElement("ab", "  "),
                                       writeElement(counter, "cwmp:", "ab", "x")};
    EXPECT_EQ((std::vector<size_t>{53, 0, 9, 11, 20}), sizes);
}

// Each row takes something out of a complete record and says what the message still holds.
TEST(SoapWriter, LeavesOutWhatIsMissing)
{
    const string open = kBody + "<SOAP-ENV:Fault>";
    const string noTexts = open + "</SOAP-ENV:Fault>", noList = "Struct[0]\"></Par";
    const string texts = open + "<faultcode>Client</faultcode><faultstring>CWMP fault</faultstring>";
    const string emptyDetail = texts + "<detail><cwmp:Fault></cwmp:Fault></detail></SOAP-ENV:Fault>";
    const struct {
        Write write;
        void (*change)(Records &r);
        string expected;
    } rows[] = {
        {&Records::fault, [](auto &r) { r.failed.faultCode = nullptr; }, noTexts},
        {&Records::fault, [](auto &r) { r.failed.faultStr = nullptr; }, noTexts},
        {&Records::fault, [](auto &r) { r.failed.faultDetDesc = nullptr; }, texts + "</SOAP-ENV:Fault>"},
        {&Records::fault, [](auto &r) { r.detail.faultCode = 0; }, emptyDetail},
        {&Records::fault, [](auto &r) { r.detail.faultStr = nullptr; }, emptyDetail},
        {&Records::complete, [](auto &r) { r.ended.code = -1; }, "<FaultStruct></FaultStruct>"},
        {&Records::complete, [](auto &r) { r.transferred.fault = nullptr; },
         "<FaultStruct><FaultCode>0</FaultCode><FaultString></FaultString></FaultStruct>"},
        {&Records::attributes, [](auto &r) { r.somebody.name = text("X."); }, noList},
        {&Records::attributes, [](auto &r) { r.somebody.name = nullptr; }, noList},
        {&Records::attributes, [](auto &r) { r.somebody.notification = -1; }, noList},
        {&Records::inform, [](auto &r) { r.informed.currentTime = 0; }, "<CurrentTime></CurrentTime>"},
    };
    for (const auto &row : rows) {
        Records r;
        row.change(r);
        const string message = take(row.write, r);
        EXPECT_NE(string::npos, message.find(row.expected)) << "row " << &row - rows << ": " << message;
    }
    Records r;
    testing::internal::CaptureStdout();
    EXPECT_EQ(take(&Records::fault, r).size() - (kOpen + noTexts + kClose).size(), getFaultMsgLen(&r.failed));
    EXPECT_EQ("[construct_FaultResponse]\n", testing::internal::GetCapturedStdout());
}

// Each text and number in turn is missing, and just the one message that needs it is refused.
TEST(SoapWriter, RefusesIncompleteRecords)
{
    Records r;
    const auto countRefusals = [&] {
        int refusals = 0;
        for (auto write :
             {&Records::inform, &Records::names, &Records::attributes, &Records::complete, &Records::fault})
            refusals += take(write, r) == "null" ? 1 : 0;
        return refusals;
    };
    const auto refuseOne = [&](auto &slot, auto bad) {
        const auto kept = std::exchange(slot, bad);
        EXPECT_EQ(1, countRefusals())
            << "record at byte " << reinterpret_cast<char *>(&slot) - reinterpret_cast<char *>(&r);
        slot = kept;
    };
    const auto refuseNull = [&](auto &...slots) { (refuseOne(slots, nullptr), ...); };
    refuseNull(r.identity.manufacturer, r.identity.serialNumber, r.event.eventCode, r.reboot.commandKey,
               r.number.name, r.blank.value, r.blank.type, r.parameter.name, r.access[1],
               r.transferred.commandKey, r.transferred.completeTime, r.stringless.parameterName,
               r.informed.deviceId, r.informed.events, r.informed.parameters);
    const auto refuseNegative = [&](auto &...slots) { (refuseOne(slots, -1), ...); };
    refuseNegative(r.informed.maxEnvelopes, r.informed.retryCount, r.parameter.writable,
                   r.somebody.accessListCount);
    EXPECT_EQ(0, countRefusals());
    MessageWriter counter = {};
    EXPECT_EQ(0, getConstructParamStr(counter, &r.number, 0));

    failAllocation(1, false);
    EXPECT_EQ("null", take(&Records::methods, r));
    failAllocation(0, false);
    EXPECT_EQ(kFaultInternalError, r.rpcFault);
}

TEST(SoapWriter, RefusesATextThatChangesBetweenItsPasses)
{
    for (const char *second : {"longer", "cut"}) {
        const auto write = [&](MessageWriter &writer) {
            writeText(writer, isWriting(writer) ? second : "text");
            return true;
        };
        int length = -7;
        BuildStatus status = BuildStatus::built;
        EXPECT_EQ(nullptr, buildText(write, &length, &status));
        EXPECT_EQ(BuildStatus::lengthMismatch, status);
        EXPECT_EQ(0, length);
    }
}
