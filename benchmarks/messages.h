#pragma once

#include <string>

// What an ACS sends, of any size.

inline const char kOpening[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
    "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\""
    " xmlns:soapenc=\"http://schemas.xmlsoap.org/soap/encoding/\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:cwmp=\"urn:dslforum-org:cwmp-1-0\">"
    "<soap:Header><cwmp:ID soap:mustUnderstand=\"1\">1804289383</cwmp:ID></soap:Header><soap:Body>";
inline const char kClosing[] = "</soap:Body></soap:Envelope>";

inline std::string nameParameter(int i)
{
    return "InternetGatewayDevice.LANDevice." + std::to_string(i / 16 + 1) + ".WLANConfiguration." +
           std::to_string(i % 16 + 1) + ".SSID";
}

inline std::string makeSetRequest(int structs)
{
    std::string text =
        std::string(kOpening) +
        "<cwmp:SetParameterValues><ParameterList soapenc:arrayType=\"cwmp:ParameterValueStruct[" +
        std::to_string(structs) + "]\">";
    for (int i = 0; i < structs; ++i)
        text += "<ParameterValueStruct><Name>" + nameParameter(i) +
                "</Name><Value xsi:type=\"xsd:string\">Guest " + std::to_string(i) +
                "</Value></ParameterValueStruct>";
    return text + "</ParameterList><ParameterKey>k</ParameterKey></cwmp:SetParameterValues>" + kClosing;
}

inline std::string makeGetRequest(int names)
{
    std::string text = std::string(kOpening) +
                       "<cwmp:GetParameterValues><ParameterNames soapenc:arrayType=\"xsd:string[" +
                       std::to_string(names) + "]\">";
    for (int i = 0; i < names; ++i)
        text += "<string>" + nameParameter(i) + "</string>";
    return text + "</ParameterNames></cwmp:GetParameterValues>" + kClosing;
}

inline std::string makeInformResponse()
{
    return std::string(kOpening) +
           "<cwmp:InformResponse><MaxEnvelopes>1</MaxEnvelopes></cwmp:InformResponse>" + kClosing;
}
