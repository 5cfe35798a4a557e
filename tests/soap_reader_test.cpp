#include "SOAPParser.h"
#include "failing_allocator.h"
#include "fault_reader.h"
#include "guarded_text.h"
#include "owned.h"
#include "rpc_arguments.h"
#include "rpc_methods.h"
#include "soap_limits.h"
#include "texts.h"
#include "xml_node_list.h"

#include <cstring>
#include <gtest/gtest.h>

using std::string;
using std::to_string;
using Text = const string &;

struct Row {
    const char *name;
    string input, expected;
};

static string printArray(char *const *array, int count)
{
    string all = to_string(count) + ":";
    for (int i = 0; i < count; ++i)
        all += string("[") + array[i] + "]";
    return all;
}

static string print(const SoapHeaderEntry &r)
{
    return print(r.name) + "=" + bars(r.value, r.mustUnderstand);
}
static string print(const SetParamFaultStr &r) { return bars(r.parameterName, r.faultCode, r.faultStr); }
static string print(const FaultDetailStr &r)
{
    return bars(r.faultCode, r.faultStr) + printList(r.parameterFaults);
}
static string print(const FaultStr &r)
{
    return bars(r.faultCode, r.faultStr) + (r.faultDetDesc == nullptr ? "" : " " + print(*r.faultDetDesc));
}
static string print(const ParamValueEntry &r) { return print(r.Name) + "=" + print(r.Value); }
static string print(const SetParamValStr &r) { return "key=" + print(r.ParameterKey) + printList(r.list); }
static string print(const ParamAttrEntry &r)
{
    return bars(r.Name, r.NotificationChange, r.Notification, r.AccessListChange) + " " +
           printArray(r.AccessList, r.AccessListCount);
}

static string print(const AddDelObjStr &r) { return bars(r.ObjectName, r.ParameterKey); }
static string print(const DownloadStr &r)
{
    return bars(r.CommandKey, r.FileType, r.URL, r.Username, r.Password, r.FileSize, r.TargetFileName,
                r.DelaySeconds, r.SuccessURL, r.FailureURL);
}
static string print(const UploadStr &r)
{
    return bars(r.CommandKey, r.FileType, r.URL, r.Username, r.Password, r.DelaySeconds);
}

// A record as text, given back.
template <typename Record> static string take(Record *record, void (*freeRecord)(Record *))
{
    const string all = record == nullptr ? "none" : print(*record);
    freeRecord(record);
    return all;
}

// What the reader of the envelope's RPC makes of it.
static string readMessage(XMLNode *root)
{
    int length = 0, kind = 0, number = -9;
    const char *raw = getRPCMethodName(root, &length, &kind);
    const string method = raw == nullptr ? "" : string(raw, static_cast<size_t>(length));
    const char *name = method.c_str();
    if (kind == kMessageFault)
        return take(getFaultAttributes(root, kind), freeFaultStructure);
    if (kind == kMessageResponse)
        return to_string(getInformRespAttr(root, raw, kind)) + " " + method;
    if (method == "GetParameterValues") {
        char **names = getParameterValues(root, name, kind, &number);
        const string all = names == nullptr ? "none " + to_string(number) : printArray(names, number);
        freeArray(names, number);
        return all;
    }
    if (method == "GetParameterNames") {
        const OwnedText path(processGetParameterNames(root, name, kind, &number));
        return print(path.get()) + " " + to_string(number);
    }
    if (method == "SetParameterAttributes") {
        const Owned<ParamAttrEntry, freeParamAttrStruct> list(getSetParameterAttr(root, name, kind));
        return list == nullptr ? "none" : printList(list.get());
    }
    if (method == "SetParameterValues")
        return take(getSetParamValAttr(root, name, kind), freeSetParamValStr);
    if (method == "AddObject")
        return take(getAddDelObjectAttr(root, name, kind), freeAddDelObjStr);
    if (method == "Download")
        return take(getDownloadAttrs(root, name, kind), freeDownloadStr);
    if (method == "Upload")
        return take(getUploadAttrs(root, name, kind), freeUploadStr);
    if (method == "Reboot")
        return print(OwnedText(getRebootParameters(root, name, kind)).get());
    return "no reader for " + method + " " + to_string(length + kind);
}

// Parses and checks a text, which ends in a NUL behind size, and gives what read makes of its first envelope.
template <typename Read> static string readText(char *text, int size, Read read)
{
    const Owned<XMLNode, ILibDestructXMLNodeList> list(parseSOAPMessage(text, size));
    if (list == nullptr)
        return "no list";
    const int code = validateSOAPMessage(list.get(), 1);
    XMLNode *envelope = getEnvelope(list.get(), 1);
    return code != 0 || envelope == nullptr ? "code " + to_string(code) : read(envelope);
}

constexpr char kBareFault[] = "e:Client|CWMP fault";

// Whether a result says that reading failed, or ended before the end of what was expected. A fault alone may
// come without its detail then.
static bool isFailure(const string &result, const string &expected)
{
    return result.rfind("no", 0) == 0 || result.rfind("code", 0) == 0 || result[0] == '-' ||
           expected.rfind(result, 0) == 0 || result == kBareFault;
}

// Each row as it is, cut at each byte, and with each allocation failing, which never makes another record.
template <size_t count, typename Read> static void checkRows(const Row (&rows)[count], Read read)
{
    for (const Row &row : rows) {
        testing::internal::CaptureStdout();
        const GuardedText whole(row.input + '\0');
        const auto readWhole = [&] { return readText(whole.text, whole.size - 1, read); };
        const string result = readWhole();
        string odd;
        withEveryAllocationFailing([&] {
            const string shorter = readWhole();
            odd = shorter == row.expected || isFailure(shorter, row.expected) ? odd : shorter;
        });
        forEachPrefix(row.input, [&](char *text, int size) { readText(text, size, read); });
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(row.expected, result) << row.name;
        EXPECT_EQ("", odd) << row.name;
    }
}

TEST(SoapValidation, JudgesTagsNamespacesAndEnvelopes)
{
    const Row rows[] = {
        {"two envelopes", "<x><Envelope/><Envelope/></x>", "code 2"},
        {"undeclared prefix", envelope("<d:Reboot/>"), "code 1"},
        {"prefix declared on its element", envelope("<d:Reboot xmlns:d=\"urn:d\"/>"), "ok"},
        {"prefix declared as nothing", envelope("<d:Reboot xmlns:d=\"\"/>"), "code 1"},
        {"xml needs no declaration", envelope("<xml:Reboot xml:lang='en'/>"), "ok"},
        {"undeclared attribute prefix", envelope("<c:Reboot d:x=\"1\" xml:lang=\"\"/>"), "code 1"},
        {"empty declaration ends the check", envelope("<c:Reboot d:x=\"1\" xmlns:f=\"\"/>"), "ok"},
        {"tag that is not closed", "<Envelope><Body><a <b x=\"1\"></b></a></Body></Envelope>", "ok"},
        {"end tag without the prefix", envelope("<c:Reboot></Reboot>"), "code 1"},
        {"end tag with a prefix of its own", envelope("<Reboot></c:Reboot>"), "code 1"},
        {"longer prefix at the end", envelope("<c:Reboot></cc:Reboot>"), "ok"},
        {"comment before the envelope", "<!-- x -->" + envelope("<c:Reboot/>"), "code 1"},
        {"no tag", "   ", "no list"},
    };
    checkRows(rows, [](XMLNode *) { return string("ok"); });
}

static string readHeader(XMLNode *envelope)
{
    const string found = to_string(isHeader(envelope));
    const Owned<SoapHeaderEntry, freeSoapHdr> list(processSoapHeader(envelope));
    return found + printList(list.get());
}

TEST(SoapEnvelope, ListsEachHeaderElementTwice)
{
    const auto header = [](Text inside) { return envelope("", tag("e:Header", inside)); };
    // Within seven elements, 422 bytes of text take just the most scanning and copying that is allowed.
    static_assert(kMostHeaderCopies == 8);
    const string most(422, 'x');
    const auto nest = [&](Text text) { return header(repeat("<A>", 7) + text + repeat("</A>", 7)); };
    const Row rows[] = {
        {"ID", header("<c:ID e:mustUnderstand=\"1\">1234</c:ID>"), "0 ID=1234|0 ID=1234|1"},
        {"not 1", header("<ID x=\"1\" must=\"10\"> </ID><N/>"), "0 N=|0 N=|0 ID=|0 ID=|0"},
        {"nested", header("<A><B>x</B></A>"), "0 A=x|0 B=x|0 B=x|0 A=|0"},
        {"leading part of the name ends it", header("<A>1</A><H>2</H><B/>"), "0 A=1|0 A=1|0"},
        {"empty tag", envelope("", "<e:Header/>"), "1"},
        {"comment behind it hides it", envelope("", "<e:Header><A>1</A></e:Header><!-- -->"), "1"},
        {"most copies", nest(most), "0" + repeat(" A=" + most + "|0", 8) + repeat(" A=|0", 6)},
        {"a copy too many", nest(most + "x"), "0"},
    };
    checkRows(rows, readHeader);
}

const auto rpc = [](Text method, Text arguments) { return envelope(tag("c:" + method, arguments)); };

TEST(SoapArguments, ReadParameterRequests)
{
    const auto value = [](Text inside) { return tag("ParameterValueStruct", inside); };
    const string third = value("<Name>c</Name>"), strings = "<string>a</string><x/><string>b.c</string>";
    const string attributes = "<Name>a</Name><NotificationChange/><Notification>2</Notification>"
                              "<AccessListChange>true</AccessListChange>";
    const auto values = [&](Text type, Text more = "") {
        const string two = value("<Name>a</Name><Value>1&lt;2</Value>") + value("<Name>b</Name><Value/>");
        const string list = array("ParameterList", "c:ParameterValueStruct" + type, two + more);
        return rpc("SetParameterValues", list + "<ParameterKey>k&amp;</ParameterKey>");
    };
    const auto names = [](Text type, Text items) {
        return rpc("GetParameterValues", array("ParameterNames", type, items));
    };
    const auto entry = [](Text inside, Text more = "") {
        const string structs = tag("SetParameterAttributesStruct", inside) + more;
        return rpc("SetParameterAttributes", tag("ParameterList", structs));
    };
    const auto path = [](Text arguments) { return rpc("GetParameterNames", arguments); };
    const string list = array("AccessList", "xsd:string[2]", strings);
    const Row rows[] = {
        {"more than declared", values("[2]", third), "key=k&amp; b= a=1<2"},
        {"huge count", values("[999999999999]"), "key=k&amp; b= a=1<2"},
        {"incomplete entry", values("[3]", third), "none"},
        {"negative count", values("[-2]"), "none"},
        {"stray entry", values("[3]", "<s><Name>c</Name><Value/></s>"), "none"},
        {"no count", rpc("SetParameterValues", "<ParameterList>" + third + "</ParameterList>"), "none"},
        {"names", names("xsd:string[2]", strings), "2:[a][b.c]"},
        {"fewer than declared", names("xsd:string[2147483647]", strings), "none 0"},
        {"zero reads as one", names("xsd:string[0]", strings), "1:[a]"},
        {"brackets the wrong way", names("xsd:string]2[", strings), "1:[]"},
        {"first type in the document wins", names("x:string[1]\" arrayType=\"x:string[2]", strings), "1:[a]"},
        {"empty name", names("xsd:string[2]", "<string>a</string><string></string>"), "none 0"},
        {"empty-element name", names("xsd:string[1]", "<string/>"), "1:[]"},
        {"no ParameterNames", rpc("GetParameterValues", ""), "1:[InternetGatewayDevice]"},
        {"path", path("<ParameterPath>A.</ParameterPath><NextLevel>TRUE</NextLevel>"), "A. 1"},
        {"empty path", path("<ParameterPath/><NextLevel>0</NextLevel>"), " 0"},
        {"no path", path("<NextLevel>yes</NextLevel>"), "InternetGatewayDevice 0"},
        {"no NextLevel", path("<ParameterPath>A.</ParameterPath>"), "- 0"},
        {"attributes", entry(attributes + list), " a|0|2|0 2:[a][b.c]"},
        {"one empty", entry(attributes + "<AccessList><string></string></AccessList>"), " a|0|2|0 1:[]"},
        {"AccessList without strings", entry(attributes + "<AccessList/>"), " a|0|2|0 0:"},
        {"no AccessList", entry(attributes), "none"},
        {"leading parts of the names", entry("<N>5</N><A>7</A>"), " 5|5|5|7 0:"},
        {"two", entry("<N>1</N><A>2</A>", tag("Set", "<N>3</N><A>4</A>")), " 3|3|3|4 0: 1|1|1|2 0:"},
    };
    checkRows(rows, readMessage);
}

TEST(SoapArguments, ReadDeviceRequests)
{
    const string head = tag("CommandKey", "k") + tag("FileType", "1 F"),
                 url = tag("URL", "http://a/?b&amp;c");
    const string rest =
        "<Username>u</Username><Password/><FileSize>9</FileSize><TargetFileName>t</TargetFileName>"
        "<DelaySeconds>5</DelaySeconds><SuccessURL>s</SuccessURL><FailureURL>f</FailureURL>";
    const string most = tag("MaxEnvelopes", "3"), object = tag("ObjectName", "A.B.");
    const Row rows[] = {
        {"download", rpc("Download", head + url + rest), "k|1 F|http://a/?b&amp;c|u||9|t|5|s|f"},
        {"no URL", rpc("Download", head + rest), "k|1 F|-|-|-|-|-|-|-|-"},
        {"upload", rpc("Upload", head + url + rest), "k|1 F|http://a/?b&amp;c|u||5"},
        {"add", rpc("AddObject", object + "<ParameterKey/>"), "A.B.|"},
        {"no key", rpc("AddObject", object), "A.B.|-"},
        {"no object", rpc("AddObject", "<ParameterKey>k</ParameterKey>"), "none"},
        {"blanks stay, up to the next tag", rpc("Reboot", tag("CommandKey", "\r\n k <x/>l")), "\r\n k "},
        {"blanks and NULs only", rpc("Reboot", tag("CommandKey", string(" \t\0\n", 4))), ""},
        {"not its own", rpc("Reboot", tag("x", tag("CommandKey", "k"))), "-"},
        {"inform", rpc("InformResponse", most), "3 Inform"},
        {"response alone", rpc("Response", most), "3 "},
        {"response in the middle", envelope("<c:InformResponses2/>"), "-1 Inform"},
        {"response behind a NUL", envelope(string("<A\0Response</A\0Response>", 24)),
         string("no reader for A\0Response 11", 27)},
        {"leading part of Fault", envelope("<e:Fau/>"), "none"},
        {"empty body", envelope(""), "no reader for Body 5"},
    };
    checkRows(rows, readMessage);
}

TEST(SoapLookups, ShowATypeUpToItsCeiling)
{
    const string longest(kMostTypeShown, 't');
    string text = "<A arrayType='" + longest + "' arrayType='" + longest + "u'/>";
    const Owned<XMLNode, ILibDestructXMLNodeList> list(
        parseSOAPMessage(text.data(), static_cast<int>(text.size())));
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, getArraySize(list.get(), ":string"));
    EXPECT_EQ(nullptr, getTagSoapNode(list.get(), "B", "A", 9));
    EXPECT_EQ(nullptr, getTagSoapNode(nullptr, nullptr, "A", 1));
    EXPECT_EQ(repeat("Expected = :string\nActual = " + longest + "\n", 2) +
                  "tmp_XMLNode tag [B]\ncurrentEnv is NULL, tag (null)\n",
              testing::internal::GetCapturedStdout());
}

TEST(SoapFault, IsReadWhole)
{
    const string head = "<faultcode>e:Client</faultcode><faultstring>CWMP fault</faultstring>";
    const string codes = "<FaultCode>9003</FaultCode><FaultString>Invalid</FaultString>";
    const auto fault = [](Text inside) { return rpc("Fault", inside); };
    const auto detail = [&](Text inside) { return fault(head + tag("detail", tag("c:Fault", inside))); };
    const auto parameter = [](Text inside) { return tag("SetParameterValuesFault", inside); };
    const string name = "<ParameterName>A.B</ParameterName>";
    const string second = "<ParameterName>C</ParameterName><FaultCode>9005</FaultCode><FaultString/>";
    const Row rows[] = {
        {"no detail", fault(head), kBareFault},
        {"parameters", detail(codes + parameter(name + codes) + parameter(second)),
         "e:Client|CWMP fault 9003|Invalid C|9005| A.B|9003|Invalid"},
        {"parameter before the code", detail(parameter(name + codes) + codes), "none"},
        {"parameter without name", detail(codes + parameter(codes)), "none"},
        {"parameter without string", detail(codes + parameter(name + "<FaultCode>1</FaultCode>")), "none"},
        {"free text", fault(head + "<detail>sorry</detail>"), "none"},
        {"no faultstring", fault("<faultcode>e:Client</faultcode>"), "none"},
    };
    checkRows(rows, readMessage);
}
