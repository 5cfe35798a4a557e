#include "acs_connection.h"

#include <cstdlib>

#include "device_requests.h"
#include "http_client.h"
#include "owned.h"
#include "platform_services.h"
#include "session_limits.h"
#include "session_log.h"
#include "settings.h"
#include "text.h"

static int refuse(const char *reason)
{
    logError("getHTTPSHandler", reason);
    return 1;
}

// The platform's decoder has no bound of its own. What it gives is shorter than the text, but for the NUL and
// the bytes of an unfinished last group, for which there is room.
static int decodeCredential(const char *text, char *buffer)
{
    const OwnedText decoded(static_cast<char *>(calloc(safeStrlen(text) + 4, 1)));
    if (decoded == nullptr)
        return 1;
    Safe_Base64Decode(text, decoded.get());
    safeStrncpy(buffer, decoded.get(), kCredentialSize);
    return 0;
}

// Fills the zeroed buffer; non-zero when memory runs out.
static int readCredential(const char *text, char *buffer)
{
    if (Safe_CheckBase64Encode(text) != 0)
        return decodeCredential(text, buffer);
    safeStrncpy(buffer, text, kCredentialSize);
    return 0;
}

int getHTTPSHandler([[maybe_unused]] const char *tempDir, const char *url)
{
    OwnedText backendUrl;
    if (url == nullptr) {
        backendUrl.reset(getACSURL());
        url = backendUrl.get();
        if (safeStrlen(url) == 0)
            return refuse("ACS URL is NULL");
    }

    const OwnedText backendUsername(gAcsUsername == nullptr ? sendNGetUsername() : nullptr);
    const char *username = gAcsUsername == nullptr ? backendUsername.get() : gAcsUsername;
    if (username == nullptr)
        return refuse("ACS URL USERNAME is NULL");
    const OwnedText backendPassword(gAcsPassword == nullptr ? sendNGetPassword() : nullptr);
    const char *password = gAcsPassword == nullptr ? backendPassword.get() : gAcsPassword;
    if (password == nullptr)
        return refuse("ACS URL PASSWORD is NULL");

    char usernameText[kCredentialSize] = "";
    char passwordText[kCredentialSize] = "";
    if (readCredential(username, usernameText) != 0 || readCredential(password, passwordText) != 0)
        return 1;
    logError("UserName : ", usernameText);
    logError("PassWord : ", passwordText);

    const OwnedText caFile(sendNGetCAFilePath());
    const int result = http_init(url, usernameText, passwordText, caFile.get());
    freeOptionTexts();
    return result;
}
