#include "http_diagnostics_tool.h"
#include "download.h"
#include "http_client.h"
#include "http_diagnostics.h"
#include "text.h"
#include "tool_options.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>

static constexpr char kRecordFile[] = "/var/tmp/httpdiag_record";

static constexpr ToolOption kOptions[] = {
    {"-put", &ToolOptions::file, TransferMode::upload}, {"-get", &ToolOptions::url, TransferMode::download},
    {"-dest", &ToolOptions::url, TransferMode::none},   {"-o", &ToolOptions::file, TransferMode::none},
    {"-len", &ToolOptions::length, TransferMode::none},
};

static int testDownload(const ToolOptions *options)
{
    gHttpTransfer.diagnosticsDownload = true;
    const int result = downloadFile(options->url, nullptr, nullptr, options->file);
    gHttpTransfer.diagnosticsDownload = false;
    return result;
}

static int sendTestBody(int length)
{
    s_pcTr069Method = "PUT";
    int status = 0;
    free(http_send_upload(length, &status));
    if (status == 200)
        return 0;
    printConnectFailure(status);
    return -1;
}

static int testUpload(const char *url, int length)
{
    int result = http_init(url, nullptr, nullptr, nullptr);
    if (result == 0)
        result = sendTestBody(length);
    http_close();
    return result;
}

static void writeRecord(const HttpDiagRecord *record)
{
    FILE *file = fopen(kRecordFile, "w");
    if (file == nullptr)
        return;
    fprintf(file, "%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d\n", record->tcpOpenRequestSeconds,
            record->tcpOpenRequestMicroseconds, record->tcpOpenResponseSeconds,
            record->tcpOpenResponseMicroseconds, record->requestSeconds, record->requestMicroseconds,
            record->beginSeconds, record->beginMicroseconds, record->endSeconds, record->endMicroseconds,
            record->bytesReceived, record->spareCount, record->bytesSent);
    fclose(file);
}

int TR143_HTTPDiagnostics_main(int argc, char **argv)
{
    ToolOptions options = {};
    if (!readToolOptions(argc, argv, kOptions, std::size(kOptions), &options))
        return -1;
    const bool upload = options.mode == TransferMode::upload;
    const int length = options.length == nullptr ? -1 : textToInt(options.length);
    if (upload && length < 0)
        return -1;

    gHttpTransfer.diagnostics = true;
    const int result = upload ? testUpload(options.url, length) : testDownload(&options);
    gHttpTransfer.diagnostics = false;
    writeRecord(&gHttpDiagRecord);
    return result;
}
