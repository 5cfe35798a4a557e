#include "SOAPParser.h"
#include "failing_allocator.h"
#include "fault_reader.h"
#include "guarded_text.h"
#include "owned.h"
#include "rpc_arguments.h"
#include "rpc_methods.h"
#include "soap_limits.h"
#include "xml_node_list.h"

#include <cstring>
#include <ctime>
#include <gtest/gtest.h>

using std::string;
using std::to_string;
using Text = const string &;

struct Row {
    const char *name;
    string input, expected;
};

const auto tag = [](Text name, Text content) { return "<" + name + ">" + content + "</" + name + ">"; };
const auto print = [](const char *text) -> string { return text == nullptr ? "-" : text; };

static string makeEnvelope(Text body, Text header = "")
{
    const string start = "<?xml version=\"1.0\"?><e:Envelope xmlns:e=\"env\" xmlns:c=\"urn:any\">";
    return start + header + tag("e:Body", body) + "</e:Envelope>";
}

static string repeat(const string &text, int times)
{
    string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

// A record that is nothing but texts.
template <typename Record>
static string printTexts(const Record &record)
{
    const char *texts[sizeof record / sizeof(char *)];
    memcpy(texts, &record, sizeof record);
    string all;
    for (const char *text : texts)
        all += print(text) + "|";
    return all;
}

static string printArray(char *const *array, int count)
{
    string all = to_string(count) + ":";
    for (int i = 0; i < count; ++i)
        all += string("[") + array[i] + "]";
    return all;
}

static string printFault(const FaultStr &fault)
{
    string all = print(fault.faultCode) + "|" + print(fault.faultStr) + "|";
    if (fault.faultDetDesc == nullptr)
        return all;
    all += to_string(fault.faultDetDesc->faultCode) + print(fault.faultDetDesc->faultStr);
    for (auto *entry = fault.faultDetDesc->parameterFaults; entry != nullptr; entry = entry->next)
        all += " " + print(entry->parameterName) + to_string(entry->faultCode) + print(entry->faultStr);
    return all;
}

// A list or record as text, given back.
template <typename Record, typename Print>
static string printOwned(Record *record, void (*freeRecord)(Record *), Print printRecord)
{
    const string all = record == nullptr ? "none" : printRecord(*record);
    freeRecord(record);
    return all;
}

static string printValues(const SetParamValStr &request)
{
    string all = "key=" + print(request.ParameterKey);
    for (const ParamValueEntry *entry = request.list; entry != nullptr; entry = entry->next)
        all += " " + print(entry->Name) + "=" + print(entry->Value);
    return all;
}

static string printAttributes(const ParamAttrEntry &list)
{
    string all;
    for (const ParamAttrEntry *entry = &list; entry != nullptr; entry = entry->next) {
        all += print(entry->Name);
        for (const int value : {entry->NotificationChange, entry->Notification, entry->AccessListChange})
            all += " " + to_string(value);
        all += " " + printArray(entry->AccessList, entry->AccessListCount) + ";";
    }
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
        return printOwned(getFaultAttributes(root, kind), freeFaultStructure, printFault);
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
    if (method == "SetParameterAttributes")
        return printOwned(getSetParameterAttr(root, name, kind), freeParamAttrStruct, printAttributes);
    if (method == "AddObject")
        return printOwned(getAddDelObjectAttr(root, name, kind), freeAddDelObjStr, printTexts<AddDelObjStr>);
    if (method == "Download")
        return printOwned(getDownloadAttrs(root, name, kind), freeDownloadStr, printTexts<DownloadStr>);
    if (method == "Upload")
        return printOwned(getUploadAttrs(root, name, kind), freeUploadStr, printTexts<UploadStr>);
    if (method == "Reboot")
        return print(OwnedText(getRebootParameters(root, name, kind)).get());
    if (method == "SetParameterValues")
        return printOwned(getSetParamValAttr(root, name, kind), freeSetParamValStr, printValues);
    return "no reader for " + method + " " + to_string(length + kind);
}

// Parses and checks a text, which ends in a NUL behind size, and gives what read makes of its first envelope.
template <typename Read>
static string readText(char *text, int size, Read read)
{
    const Owned<XMLNode, ILibDestructXMLNodeList> list(parseSOAPMessage(text, size));
    if (list == nullptr)
        return "no list";
    const int code = validateSOAPMessage(list.get(), 1);
    XMLNode *envelope = getEnvelope(list.get(), 1);
    return code != 0 || envelope == nullptr ? "code " + to_string(code) : read(envelope);
}

constexpr char kBareFault[] = "e:Client|CWMP fault|";

// Whether a result says that reading failed, or ended before the end of what was expected. A fault alone may
// come without its detail then.
static bool isFailure(const string &result, const string &expected)
{
    return result.rfind("no", 0) == 0 || result.rfind("code", 0) == 0 || result[0] == '-' ||
           expected.rfind(result, 0) == 0 || result == kBareFault;
}

// Each row as it is, cut at each byte, and with each allocation failing, which never makes another record.
template <size_t count, typename Read>
static void checkRows(const Row (&rows)[count], Read read)
{
    for (const Row &row : rows) {
        testing::internal::CaptureStdout();
        const GuardedText whole = guardText(row.input + '\0');
        const auto readWhole = [&] { return readText(whole.text, whole.size - 1, read); };
        const string result = readWhole();
        string odd;
        withEveryAllocationFailing([&] {
            const string shorter = readWhole();
            odd = shorter == row.expected || isFailure(shorter, row.expected) ? odd : shorter;
        });
        freeGuardedText(whole);
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
        {"undeclared prefix", makeEnvelope("<d:Reboot/>"), "code 1"},
        {"prefix declared on its element", makeEnvelope("<d:Reboot xmlns:d=\"urn:d\"/>"), "ok"},
        {"prefix declared as nothing", makeEnvelope("<d:Reboot xmlns:d=\"\"/>"), "code 1"},
        {"xml needs no declaration", makeEnvelope("<xml:Reboot xml:lang='en'/>"), "ok"},
        {"undeclared attribute prefix", makeEnvelope("<c:Reboot d:x=\"1\" xml:lang=\"\"/>"), "code 1"},
        {"empty declaration ends the check", makeEnvelope("<c:Reboot d:x=\"1\" xmlns:f=\"\"/>"), "ok"},
        {"tag that is not closed", "<Envelope><Body><a <b x=\"1\"></b></a></Body></Envelope>", "ok"},
        {"end tag without the prefix", makeEnvelope("<c:Reboot></Reboot>"), "code 1"},
        {"end tag with a prefix of its own", makeEnvelope("<Reboot></c:Reboot>"), "code 1"},
        {"longer prefix at the end", makeEnvelope("<c:Reboot></cc:Reboot>"), "ok"},
        {"comment before the envelope", "<!-- x -->" + makeEnvelope("<c:Reboot/>"), "code 1"},
        {"no tag", "   ", "no list"},
    };
    checkRows(rows, [](XMLNode *) { return string("ok"); });
}

static string readHeader(XMLNode *envelope)
{
    string all = to_string(isHeader(envelope));
    const Owned<SoapHeaderEntry, freeSoapHdr> list(processSoapHeader(envelope));
    for (const SoapHeaderEntry *entry = list.get(); entry != nullptr; entry = entry->next)
        all += " " + print(entry->name) + "=" + print(entry->value) + to_string(entry->mustUnderstand);
    return all;
}

TEST(SoapEnvelope, ListsEachHeaderElementTwice)
{
    const auto header = [](Text inside) { return makeEnvelope("", tag("e:Header", inside)); };
    // Within seven elements, 422 bytes of text take just the most scanning and copying that is allowed.
    static_assert(kMostHeaderCopies == 8);
    const string most(422, 'x');
    const auto nest = [&](Text text) { return header(repeat("<A>", 7) + text + repeat("</A>", 7)); };
    const Row rows[] = {
        {"ID", header("<c:ID e:mustUnderstand=\"1\">1234</c:ID>"), "0 ID=12340 ID=12341"},
        {"not 1", header("<ID x=\"1\" must=\"10\"> </ID><N/>"), "0 N=0 N=0 ID=0 ID=0"},
        {"nested", header("<A><B>x</B></A>"), "0 A=x0 B=x0 B=x0 A=0"},
        {"leading part of the name ends it", header("<A>1</A><H>2</H><B/>"), "0 A=10 A=10"},
        {"empty tag", makeEnvelope("", "<e:Header/>"), "1"},
        {"comment behind it hides it", makeEnvelope("", "<e:Header><A>1</A></e:Header><!-- -->"), "1"},
        {"most copies", nest(most), "0" + repeat(" A=" + most + "0", 8) + repeat(" A=0", 6)},
        {"a copy too many", nest(most + "x"), "0"},
    };
    checkRows(rows, readHeader);
}

static string makeArray(Text element, Text type, Text items)
{
    return "<" + element + " e:arrayType=\"" + type + "\">" + items + "</" + element + ">";
}

const auto makeRpc = [](Text method, Text arguments) { return makeEnvelope(tag("c:" + method, arguments)); };

TEST(SoapArguments, ReadParameterRequests)
{
    const auto value = [](Text inside) { return tag("ParameterValueStruct", inside); };
    const string third = value("<Name>c</Name>"), strings = "<string>a</string><x/><string>b.c</string>";
    const string attributes = "<Name>a</Name><NotificationChange/><Notification>2</Notification>"
                              "<AccessListChange>true</AccessListChange>";
    const auto values = [&](Text type, Text more = "") {
        const string two = value("<Name>a</Name><Value>1&lt;2</Value>") + value("<Name>b</Name><Value/>");
        const string list = makeArray("ParameterList", "c:ParameterValueStruct" + type, two + more);
        return makeRpc("SetParameterValues", list + "<ParameterKey>k&amp;</ParameterKey>");
    };
    const auto names = [](Text type, Text items) {
        return makeRpc("GetParameterValues", makeArray("ParameterNames", type, items));
    };
    const auto entry = [](Text inside) {
        return makeRpc("SetParameterAttributes",
                       tag("ParameterList", tag("SetParameterAttributesStruct", inside)));
    };
    const auto path = [](Text arguments) { return makeRpc("GetParameterNames", arguments); };
    const string list = makeArray("AccessList", "xsd:string[2]", strings);
    const Row rows[] = {
        {"more than declared", values("[2]", third), "key=k&amp; b= a=1<2"},
        {"huge count", values("[999999999999]"), "key=k&amp; b= a=1<2"},
        {"incomplete entry", values("[3]", third), "none"},
        {"negative count", values("[-2]"), "none"},
        {"stray entry", values("[3]", "<s><Name>c</Name><Value/></s>"), "none"},
        {"no count", makeRpc("SetParameterValues", "<ParameterList>" + third + "</ParameterList>"), "none"},
        {"names", names("xsd:string[2]", strings), "2:[a][b.c]"},
        {"fewer than declared", names("xsd:string[2147483647]", strings), "none 0"},
        {"more than declared", names("xsd:string[1]", strings), "1:[a]"},
        {"zero reads as one", names("xsd:string[0]", strings), "1:[a]"},
        {"brackets the wrong way", names("xsd:string]2[", strings), "1:[]"},
        {"first type in the document wins", names("x:string[1]\" arrayType=\"x:string[2]", strings), "1:[a]"},
        {"empty name", names("xsd:string[2]", "<string>a</string><string></string>"), "none 0"},
        {"empty-element name", names("xsd:string[1]", "<string/>"), "1:[]"},
        {"no ParameterNames", makeRpc("GetParameterValues", ""), "1:[InternetGatewayDevice]"},
        {"path", path("<ParameterPath>A.</ParameterPath><NextLevel>TRUE</NextLevel>"), "A. 1"},
        {"empty path", path("<ParameterPath/><NextLevel>0</NextLevel>"), " 0"},
        {"no path", path("<NextLevel>yes</NextLevel>"), "InternetGatewayDevice 0"},
        {"no NextLevel", path("<ParameterPath>A.</ParameterPath>"), "- 0"},
        {"attributes", entry(attributes + list), "a 0 2 0 2:[a][b.c];"},
        {"one empty", entry(attributes + "<AccessList><string></string></AccessList>"), "a 0 2 0 1:[];"},
        {"AccessList without strings", entry(attributes + "<AccessList/>"), "a 0 2 0 0:;"},
        {"no AccessList", entry(attributes), "none"},
        {"leading parts of the names", entry("<N>5</N><A>7</A>"), "5 5 5 7 0:;"},
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
        {"download", makeRpc("Download", head + url + rest), "k|1 F|http://a/?b&amp;c|u||9|t|5|s|f|"},
        {"no URL", makeRpc("Download", head + rest), "k|1 F|-|-|-|-|-|-|-|-|"},
        {"upload", makeRpc("Upload", head + url + rest), "k|1 F|http://a/?b&amp;c|u||5|"},
        {"add", makeRpc("AddObject", object + "<ParameterKey/>"), "A.B.||"},
        {"no key", makeRpc("AddObject", object), "A.B.|-|"},
        {"no object", makeRpc("AddObject", "<ParameterKey>k</ParameterKey>"), "none"},
        {"blanks stay, up to the next tag", makeRpc("Reboot", tag("CommandKey", "\r\n k <x/>l")), "\r\n k "},
        {"blanks and NULs only", makeRpc("Reboot", tag("CommandKey", string(" \t\0\n", 4))), ""},
        {"not its own", makeRpc("Reboot", tag("x", tag("CommandKey", "k"))), "-"},
        {"inform", makeRpc("InformResponse", most), "3 Inform"},
        {"response alone", makeRpc("Response", most), "3 "},
        {"response in the middle", makeEnvelope("<c:InformResponses2/>"), "-1 Inform"},
        {"response behind a NUL", makeEnvelope(string("<A\0Response</A\0Response>", 24)),
         string("no reader for A\0Response 11", 27)},
        {"leading part of Fault", makeEnvelope("<e:Fau/>"), "none"},
        {"empty body", makeEnvelope(""), "no reader for Body 5"},
        {"no body", "<Envelope><Other/></Envelope>", "no reader for  0"},
    };
    checkRows(rows, readMessage);
}

TEST(SoapLookups, SayWhatTheyMiss)
{
    const string longest(kMostTypeShown, 't');
    string text = "<A x='' arrayType='" + longest + "' arrayType='" + longest + "u' y=''><B/><C/></A>";
    const Owned<XMLNode, ILibDestructXMLNodeList> list(
        parseSOAPMessage(text.data(), static_cast<int>(text.size())));
    XMLNode *first = list.get();
    testing::internal::CaptureStdout();
    EXPECT_EQ(first->next, getTagSoapNode(first, "Bee", "A", 1));
    EXPECT_EQ(first->next, getTagSoapNode(first, "B", nullptr, 0));
    for (XMLNode *missing :
         {getTagSoapNode(first, "B", nullptr, 1), getTagSoapNode(first, "B", "A", 9),
          getTagSoapNode(first->next, "C", "A", 1), getTagSoapNode(nullptr, nullptr, "A", 1)})
        EXPECT_EQ(nullptr, missing);
    EXPECT_EQ(-1, getInformRespAttr(first, "InformResponse>", kMessageResponse));
    EXPECT_EQ(-1, getArraySize(first, ":string"));
    EXPECT_EQ("tmp_XMLNode tag [C]\ncurrentEnv is NULL, tag (null)\ntmp_XMLNode tag [InformResponse]\n"
              "Expected = arrayType\nActual = (null)\n" +
                  repeat("Expected = :string\nActual = " + longest + "\n", 2) +
                  "Expected = arrayType\nActual = " + longest + "\n",
              testing::internal::GetCapturedStdout());
}

TEST(SoapFault, IsReadWhole)
{
    const string head = "<faultcode>e:Client</faultcode><faultstring>CWMP fault</faultstring>";
    const string codes = "<FaultCode>9003</FaultCode><FaultString>Invalid</FaultString>";
    const auto fault = [](Text inside) { return makeRpc("Fault", inside); };
    const auto detail = [&](Text inside) { return fault(head + tag("detail", tag("c:Fault", inside))); };
    const auto parameter = [](Text inside) { return tag("SetParameterValuesFault", inside); };
    const string name = "<ParameterName>A.B</ParameterName>";
    const string second = "<ParameterName>C</ParameterName><FaultCode>9005</FaultCode><FaultString/>";
    const Row rows[] = {
        {"no detail", fault(head), kBareFault},
        {"parameters", detail(codes + parameter(name + codes) + parameter(second)),
         "e:Client|CWMP fault|9003Invalid C9005 A.B9003Invalid"},
        {"parameter before the code", detail(parameter(name + codes) + codes), "none"},
        {"parameter without name", detail(codes + parameter(codes)), "none"},
        {"parameter without string", detail(codes + parameter(name + "<FaultCode>1</FaultCode>")), "none"},
        {"free text", fault(head + "<detail>sorry</detail>"), "none"},
        {"no faultstring", fault("<faultcode>e:Client</faultcode>"), "none"},
    };
    checkRows(rows, readMessage);
}

// Large and hostile messages: the time of a search per element would be far longer.
TEST(SoapReader, TakesTimeWithTheMessageOnly)
{
    constexpr int kMany = 50000, kMebi = 1 << 20;
    const auto repeatMany = [](Text text) { return repeat(text, 3 * kMany); };
    const auto readBoth = [](XMLNode *envelope) { return readHeader(envelope) + readMessage(envelope); };
    const auto check = [&](const char *name, string text, int expected) {
        testing::internal::CaptureStdout();
        const clock_t start = clock();
        const string result = readText(text.data(), static_cast<int>(text.size()), readBoth);
        EXPECT_LT(clock() - start, 2 * CLOCKS_PER_SEC) << name;
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(static_cast<size_t>(expected), result.size()) << name;
    };
    const string value = "<ParameterValueStruct><Name>n</Name><Value>v</Value></ParameterValueStruct>";
    const string values = makeArray("ParameterList", "c:ParameterValueStruct[50000]", repeat(value, kMany));
    const string names = makeArray("ParameterNames", "c:string[50000]", repeat("<string>n</string>", kMany));
    check("values", makeRpc("SetParameterValues", values), 6 + 4 * kMany);
    check("names", makeRpc("GetParameterValues", names), 7 + 3 * kMany);
    check("nesting", makeRpc("Reboot", repeat("<c:d>", kMany) + repeat("</c:d>", kMany)), 2);
    check("long name", makeEnvelope("<" + string(kMebi, 'n') + "/>"), 23 + kMebi);
    check("open tags", "<Envelope><Body" + repeatMany("<a ") + repeatMany("</a ") + "</Body></Envelope>", 18);
    const string header = "<Header" + repeatMany("<a") + ">" + repeatMany("     ") + repeatMany("</a");
    check("header elements with one text", makeEnvelope("", header + "</Header>"), 21);
}
