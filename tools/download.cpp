#include "download.h"
#include "http_client.h"

#include <cstdio>
#include <cstdlib>

void printConnectFailure(int status)
{
    if (gHttpTransfer.diagnostics && status != 204 && status != 201)
        puts("Connect Fail!");
}

static int requestFile(FILE *file)
{
    gHttpTransfer.downloadFile = file;
    s_pcTr069Method = "GET";
    int status = 0;
    free(http_send_empty(nullptr, 0, &status));
    gHttpTransfer.downloadFile = nullptr;
    if (status == 200 || status == 0)
        return 0;
    printConnectFailure(status);
    return -1;
}

// A file that could not take everything is a failed download.
static int receiveFile(const char *fileName)
{
    FILE *file = fopen(fileName, "w");
    if (file == nullptr)
        return -1;
    // The client gathers what it receives into large writes; a second buffer would only copy them.
    setvbuf(file, nullptr, _IONBF, 0);
    const int result = requestFile(file);
    const bool incomplete = ferror(file) != 0;
    if (fclose(file) != 0 || incomplete)
        return -1;
    return result;
}

int downloadFile(const char *url, const char *username, const char *password, const char *fileName)
{
    int result = http_init(url, username, password, nullptr);
    if (result == 0)
        result = receiveFile(fileName);
    http_close();
    return result;
}
