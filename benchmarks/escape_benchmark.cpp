#include "base64.h"
#include "ratio_report.h"
#include "xml_escape.h"

#include <cstring>
#include <openssl/evp.h>

static const std::vector<std::string> &ordinaryValues()
{
    static const std::vector<std::string> values = {
        "1",
        "true",
        "Up",
        "192.168.1.254",
        "00:1A:2B:3C:4D:5E",
        "0001-01-01T00:00:00Z",
        "Guest network",
        "WPAand11i",
        "http://acs.example.net:7547/cwmp/device",
        "InternetGatewayDevice.WANDevice.1.WANConnectionDevice.1.WANPPPConnection.1.ExternalIPAddress",
        "Smith & Sons <office>",
    };
    return values;
}

static int escapeByteByByte(char *out, const char *in)
{
    char *at = out;
    for (; *in != '\0'; ++in) {
        switch (*in) {
        case '"':
            memcpy(at, "&quot;", 6);
            at += 6;
            break;
        case '\'':
            memcpy(at, "&apos;", 6);
            at += 6;
            break;
        case '&':
            memcpy(at, "&amp;", 5);
            at += 5;
            break;
        case '<':
            memcpy(at, "&lt;", 4);
            at += 4;
            break;
        case '>':
            memcpy(at, "&gt;", 4);
            at += 4;
            break;
        default:
            *at++ = *in;
        }
    }
    *at = '\0';
    return static_cast<int>(at - out);
}

static void escapeValues(benchmark::State &state, int (*escape)(char *, const char *))
{
    char out[1024];
    for (auto _ : state)
        for (const std::string &value : ordinaryValues())
            benchmark::DoNotOptimize(escape(out, value.c_str()));
}
BENCHMARK_CAPTURE(escapeValues, ours, ILibXmlEscape);
BENCHMARK_CAPTURE(escapeValues, bytes, escapeByteByByte);

static void encodeOurs(const std::string &input)
{
    char *text = nullptr;
    ILibBase64Encode(reinterpret_cast<const unsigned char *>(input.data()), static_cast<int>(input.size()),
                     &text);
    benchmark::DoNotOptimize(text);
    free(text);
}

static void encodeOpenssl(const std::string &input)
{
    unsigned char *text = static_cast<unsigned char *>(malloc(input.size() * 4 / 3 + 5));
    EVP_EncodeBlock(text, reinterpret_cast<const unsigned char *>(input.data()),
                    static_cast<int>(input.size()));
    benchmark::DoNotOptimize(text);
    free(text);
}

static void encode(benchmark::State &state, void (*encodeOnce)(const std::string &), size_t size)
{
    std::string input(size, '\0');
    for (size_t i = 0; i < size; ++i)
        input[i] = static_cast<char>(i * 37);
    for (auto _ : state)
        encodeOnce(input);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

int main(int argc, char **argv)
{
    for (const size_t size : {24, 512, 65536}) {
        const std::string name = "base64 of " + std::to_string(size) + "/";
        benchmark::RegisterBenchmark((name + "ours").c_str(), encode, encodeOurs, size);
        benchmark::RegisterBenchmark((name + "openssl").c_str(), encode, encodeOpenssl, size);
    }
    return runWithRatios(argc, argv);
}
