#include "answer_input.h"
#include "http_client.h"
#include "http_diagnostics.h"
#include "owned.h"
#include "request_head.h"
#include "socket_io.h"
#include "text.h"

#include <cstring>
#include <syslog.h>

static constexpr int kUploadPiece = 20480;
static constexpr char kUploadErrorFlagFile[] = "/var/tmp/uploadErrFlag";

/// One sender's request.
struct HttpRequest {
    HttpFraming framing;
    const char *body; ///< borrowed; null for an upload, whose body is made while it is sent
    int length;       ///< bytes
};

static void markTime(HttpDiagMark mark)
{
    if (gHttpTransfer.diagnostics)
        recordHttpMark(mark);
}

static bool sendPieces(const HttpHead *head, const char *piece, int length)
{
    const char *nextHead = head->text;
    int headLength = static_cast<int>(head->length);
    for (int missing = length; missing > 0;) {
        const int count = missing < kUploadPiece ? missing : kUploadPiece;
        const bool first = missing == length;
        if (first)
            markTime(HttpDiagMark::request);
        if (!writeWhole(gHttpSession.socket, nextHead, headLength, piece, count))
            return false;
        if (first)
            markTime(HttpDiagMark::begin);
        missing -= count;
        headLength = 0;
    }
    return true;
}

// An upload of nothing sends nothing, the head included.
static bool sendUpload(const HttpHead *head, int length)
{
    OwnedText piece(static_cast<char *>(malloc(kUploadPiece)));
    if (piece == nullptr)
        return false;
    memset(piece.get(), 'a', kUploadPiece);
    return sendPieces(head, piece.get(), length);
}

static bool sendRequest(const HttpRequest *request, const HttpHead *head)
{
    if (request->framing == HttpFraming::upload)
        return sendUpload(head, request->length);
    markTime(HttpDiagMark::request);
    markTime(HttpDiagMark::begin);
    return writeWhole(gHttpSession.socket, head->text, static_cast<int>(head->length), request->body,
                      request->length);
}

static char *readAnswer(AnswerInput *input, int *status)
{
    int length = 0;
    char *body = receiveAnswer(input, status, &length, &gHttpSession.cookie);
    markTime(HttpDiagMark::end);
    return body;
}

// A "100 Continue" announces the answer proper (RFC 2616 section 8.2.3), which may already be in hand.
static char *readFinalAnswer(AnswerInput *input, HttpFraming framing, int *status)
{
    char *body = readAnswer(input, status);
    if (framing != HttpFraming::soap || *status != 100)
        return body;
    free(body);
    *status = -1;
    return readAnswer(input, status);
}

// Sends the request and reads its answer. False when it could not be sent whole.
static bool exchangeOnce(const HttpRequest *request, int *status, char **body)
{
    HttpHead head = {};
    const int built = buildRequestHead(&head, request->framing, request->length);
    OwnedText scratch(head.text);
    if (built != 0 || !sendRequest(request, &head))
        return false;
    AnswerInput input = {scratch.get(), kHttpBufferSize, 0, 0, false, nullptr};
    *body = readFinalAnswer(&input, request->framing, status);
    return true;
}

static bool endsConnection(HttpFraming framing, int status)
{
    return status == 204 || (status == 400 && framing == HttpFraming::soap);
}

// A download tells its status only in a diagnostics run: in the transfer tool any answer is a success.
static void reportStatus(HttpFraming framing, int answered, int *status)
{
    if (framing != HttpFraming::empty || gHttpTransfer.diagnostics)
        *status = answered;
}

void writeUploadErrorFlag(int code)
{
    FILE *file = fopen(kUploadErrorFlagFile, "w");
    if (file == nullptr)
        return;
    fprintf(file, "%d", code);
    fclose(file);
}

static void giveUpAuthorization(HttpFraming framing)
{
    syslog(LOG_ERR, "401 Authorization failed. exit!");
    puts("Authorization failed. exit!");
    gHttpSession.lastStatus = 0;
    if (framing != HttpFraming::soap || !gHttpTransfer.uploadInProgress)
        return;
    writeUploadErrorFlag(401);
    gHttpTransfer.uploadInProgress = false;
}

// Connects anew when the server closes the refused request's connection; a GET always connects anew.
static bool prepareResend()
{
    gHttpSession.lastStatus = 401;
    if (!gHttpSession.closeRequested && safeStrcmp(s_pcTr069Method, "GET") != 0)
        return true;
    puts("--ENTER re init http--------------");
    gHttpSession.closeRequested = false;
    http_close();
    return http_init(nullptr, nullptr, nullptr, nullptr) == 0;
}

static char *exchange(const HttpRequest *request, int *status)
{
    for (;;) {
        int answered = -1;
        char *received = nullptr;
        if (!exchangeOnce(request, &answered, &received)) {
            if (request->framing != HttpFraming::soap)
                *status = -1;
            return nullptr;
        }
        OwnedText body(received);
        if (endsConnection(request->framing, answered))
            http_close();
        if (answered == 401 && request->framing == HttpFraming::empty)
            gHttpTransfer.configurationDownload = false;
        const bool refusedAgain = answered == 401 && gHttpSession.lastStatus == 401;
        if (refusedAgain)
            giveUpAuthorization(request->framing);
        else if (answered != 401 && request->framing != HttpFraming::empty)
            gHttpSession.lastStatus = 0;
        if (refusedAgain || answered != 401) {
            reportStatus(request->framing, answered, status);
            return body.release();
        }
        if (!prepareResend())
            return nullptr;
    }
}

char *SendSoapMessage(const char *body, int length, int *status)
{
    if (length < 0 || (body == nullptr && length > 0))
        return nullptr;
    const HttpRequest request = {HttpFraming::soap, body, length};
    return exchange(&request, status);
}

char *http_send_empty(const char *body, int length, int *status)
{
    if (length < 0 || (body == nullptr && length > 0)) {
        *status = -1;
        return nullptr;
    }
    const HttpRequest request = {HttpFraming::empty, body, length};
    return exchange(&request, status);
}

char *http_send_upload(int length, int *status)
{
    const HttpRequest request = {HttpFraming::upload, nullptr, length};
    return exchange(&request, status);
}
