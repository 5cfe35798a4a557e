#include "transfer_tool.h"
#include "download.h"
#include "firmware_image.h"
#include "http_client.h"
#include "tool_options.h"
#include "upload.h"

#include <cstring>
#include <iterator>

static constexpr ToolOption kOptions[] = {
    {"-put", &ToolOptions::file, TransferMode::upload}, {"-get", &ToolOptions::url, TransferMode::download},
    {"-x", &ToolOptions::username, TransferMode::none}, {"-y", &ToolOptions::password, TransferMode::none},
    {"-dest", &ToolOptions::url, TransferMode::none},   {"-o", &ToolOptions::file, TransferMode::none},
};

static bool isConfiguration(const char *fileName)
{
    return strstr(fileName, "3gdriver") != nullptr || strstr(fileName, "config") != nullptr;
}

static int download(const ToolOptions *options)
{
    const bool configuration = isConfiguration(options->file);
    gHttpTransfer.configurationDownload = configuration;
    const int result = downloadFile(options->url, options->username, options->password, options->file);
    gHttpTransfer.configurationDownload = false;
    return configuration ? result : applyFirmwareImage(result);
}

int comLine_main(int argc, char **argv)
{
    ToolOptions options = {};
    if (!readToolOptions(argc, argv, kOptions, std::size(kOptions), &options))
        return -1;
    const int result = options.mode == TransferMode::upload
                           ? uploadFile(options.url, options.username, options.password, options.file)
                           : download(&options);
    http_destroy();
    return result;
}
