#include "upload.h"
#include "http_client.h"

#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

/// A file's bytes, mapped: an upload may be larger than the memory of the gateway.
struct FileContent {
    char *bytes; ///< null when the file is empty
    int length;
};

static int mapOpenFile(int descriptor, FileContent *content)
{
    struct stat state = {};
    if (fstat(descriptor, &state) != 0 || !S_ISREG(state.st_mode) || state.st_size > INT_MAX)
        return -1;
    *content = {nullptr, static_cast<int>(state.st_size)};
    if (content->length == 0)
        return 0;
    const size_t size = static_cast<size_t>(content->length);
    void *mapping = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (mapping == MAP_FAILED)
        return -1;
    content->bytes = static_cast<char *>(mapping);
    return 0;
}

// Not waiting for the other end of a pipe, which would be waiting without an end.
static int mapFile(const char *fileName, FileContent *content)
{
    const int descriptor = open(fileName, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return -1;
    const int result = mapOpenFile(descriptor, content);
    close(descriptor);
    return result;
}

static void unmapFile(const FileContent *content)
{
    if (content->bytes != nullptr)
        munmap(content->bytes, static_cast<size_t>(content->length));
}

// A 405 is told first and then overwritten, since the upload is still in progress: the platform sees 1. Only
// the second 401 ends the upload earlier, and so keeps its own number.
static int judgeStatus(int status)
{
    if (status == 405)
        writeUploadErrorFlag(405);
    if (status == 200 || status == 201)
        return 0;
    if (gHttpTransfer.uploadInProgress)
        writeUploadErrorFlag(1);
    return -1;
}

static int sendFile(const char *fileName)
{
    FileContent content = {};
    if (mapFile(fileName, &content) != 0)
        return -1;
    s_pcTr069Method = "PUT";
    int status = 0;
    free(SendSoapMessage(content.bytes, content.length, &status));
    unmapFile(&content);
    return judgeStatus(status);
}

int uploadFile(const char *url, const char *username, const char *password, const char *fileName)
{
    int result = -1;
    gHttpTransfer.uploadInProgress = true;
    if (http_init(url, username, password, nullptr) == 0)
        result = sendFile(fileName);
    else
        writeUploadErrorFlag(1);
    gHttpTransfer.uploadInProgress = false;
    http_close();
    return result;
}
