#include "base64.h"
#include "http_client.h"
#include "owned.h"
#include "platform_services.h"
#include "request_head.h"
#include "text.h"

#include <cstring>

// A challenge is  "Digest " key "=" value *( "," key "=" value ), a value in quotes or bare, read by one pass
// with a state:  start -> inKey -> afterEquals [-> openingQuote] -> inValue [-> closedQuote] -> afterComma ->
// inKey ...  Blanks count nowhere. A comma ends a value also inside quotes.

static constexpr char kDigestScheme[] = "Digest ";
static constexpr size_t kDigestSchemeLength = sizeof kDigestScheme - 1;
static constexpr char kNonceCount[] = "00000001";

HttpAuthState gHttpAuth = {nullptr, 0, kHttpAuthNone, 0, 0, 0, 0, 0, 0, nullptr, nullptr};

enum class ChallengeState { start, inKey, afterComma, afterEquals, openingQuote, inValue, closedQuote };

struct ChallengeKey {
    const char *name;
    size_t length;
    uint16_t HttpAuthState::*offset;
};

static constexpr ChallengeKey kChallengeKeys[] = {
    {"realm", 5, &HttpAuthState::realm},         {"nonce", 5, &HttpAuthState::nonce},
    {"opaque", 6, &HttpAuthState::opaque},       {"qop", 3, &HttpAuthState::qop},
    {"algorithm", 9, &HttpAuthState::algorithm}, {"uri", 3, &HttpAuthState::uri},
};

struct ChallengeReader {
    ChallengeState state;
    const ChallengeKey *key; ///< null: a key that is not in the table
    HttpAuthState *auth;
};

static const ChallengeKey *findChallengeKey(const char *text)
{
    for (const ChallengeKey &key : kChallengeKeys) {
        if (strncmp(text, key.name, key.length) == 0)
            return &key;
    }
    return nullptr;
}

// A key that is not in the table turns the whole challenge into a Basic one; that is meant, and "stale" or
// "domain" is enough. No answer's head is long enough for an offset past 16 bits: that guard is for callers
// with a text of their own.
static void noteValue(const ChallengeReader *reader, size_t offset)
{
    if (reader->key == nullptr)
        reader->auth->type = kHttpAuthBasic;
    else
        reader->auth->*(reader->key->offset) =
            offset <= UINT16_MAX ? static_cast<uint16_t>(offset) : uint16_t{0};
}

static void endValue(ChallengeReader *reader, char *separator, ChallengeState next)
{
    *separator = '\0';
    reader->state = next;
}

static void startValue(ChallengeReader *reader, size_t offset)
{
    noteValue(reader, offset);
    reader->state = ChallengeState::inValue;
}

// Takes the character at an offset of the challenge, which is made a NUL when it ends a value.
static void takeChallengeCharacter(ChallengeReader *reader, char *challenge, size_t offset)
{
    char *at = challenge + offset;
    switch (reader->state) {
    case ChallengeState::start:
    case ChallengeState::afterComma:
        reader->key = findChallengeKey(at);
        reader->state = ChallengeState::inKey;
        return;
    case ChallengeState::inKey:
        if (*at == '=')
            reader->state = ChallengeState::afterEquals;
        return;
    case ChallengeState::afterEquals:
        if (*at != '"')
            return startValue(reader, offset);
        reader->state = ChallengeState::openingQuote;
        return;
    case ChallengeState::openingQuote:
        if (*at != '"')
            return startValue(reader, offset);
        return endValue(reader, at, ChallengeState::closedQuote);
    case ChallengeState::inValue:
        if (*at == '"')
            return endValue(reader, at, ChallengeState::closedQuote);
        [[fallthrough]];
    case ChallengeState::closedQuote:
        if (*at == ',')
            endValue(reader, at, ChallengeState::afterComma);
        return;
    }
}

int http_parse_challenge(const char *value, HttpAuthState *auth, const char **end)
{
    const size_t length = lengthBefore(value, "\r");
    *end = value + length;
    if (strncmp(value, kDigestScheme, kDigestSchemeLength) != 0) {
        auth->type = kHttpAuthBasic;
        return 0;
    }
    // The head goes on behind this value, so its NULs are put into the copy alone.
    char *challenge = length > INT32_MAX ? nullptr : getMsg(value, static_cast<int>(length));
    if (challenge == nullptr)
        return -1;
    free(auth->challenge);
    auth->challenge = challenge;
    auth->challengeLength = static_cast<int>(length);
    auth->type = kHttpAuthDigest;

    challenge[kDigestSchemeLength - 1] = '\0';
    ChallengeReader reader = {ChallengeState::start, nullptr, auth};
    for (size_t offset = kDigestSchemeLength; offset < length; ++offset) {
        if (challenge[offset] != ' ')
            takeChallengeCharacter(&reader, challenge, offset);
    }
    return 0;
}

// The challenge's value at an offset; "" for a key never seen and for an offset of a longer challenge before.
static const char *challengeValue(const HttpAuthState *auth, uint16_t offset)
{
    if (offset == 0 || auth->challenge == nullptr || offset >= auth->challengeLength)
        return "";
    return auth->challenge + offset;
}

static const char *orEmpty(const char *text)
{
    return text == nullptr ? "" : text;
}

static int buildBasic(const HttpAuthState *auth, HttpHead *head)
{
    HttpHead plain = {};
    appendHead(&plain, "%s:%s", {orEmpty(auth->username), orEmpty(auth->password)});
    OwnedText owned(plain.text);
    if (plain.failed || plain.length > INT32_MAX)
        return -1;
    char *encoded = nullptr;
    ILibBase64Encode(reinterpret_cast<const unsigned char *>(plain.text), static_cast<int>(plain.length),
                     &encoded);
    OwnedText credential(encoded);
    if (credential == nullptr)
        return -1;
    appendHead(head, "Basic %s\r\n", {credential.get()});
    return 0;
}

// The opaque value is not echoed, and each request counts as its nonce's first.
static int buildDigest(const HttpAuthState *auth, HttpHead *head)
{
    const char *username = orEmpty(auth->username);
    const char *realm = challengeValue(auth, auth->realm);
    const char *nonce = challengeValue(auth, auth->nonce);
    const char *qop = challengeValue(auth, auth->qop);
    const char *uri = auth->uri != 0 ? challengeValue(auth, auth->uri) : gHttpSession.path;
    OwnedText clientNonce(CalcNonce());
    if (clientNonce == nullptr)
        return -1;
    // The text returned and the one stored in the slot are the same one.
    char *stored = nullptr;
    OwnedText response(CalcDigest(username, orEmpty(auth->password), realm, uri, nonce, qop, kNonceCount,
                                  clientNonce.get(), s_pcTr069Method, &stored));
    if (response == nullptr)
        return -1;
    appendHead(head,
               "Digest username=\"%s\", realm=\"%s\", nonce=\"%s\", uri=\"%s\", response=\"%s\", qop=\"%s\", "
               "nc=%s, cnonce=\"%s\", algorithm=\"%s\"\r\n",
               {username, realm, nonce, uri, response.get(), qop, kNonceCount, clientNonce.get(), "MD5"});
    return 0;
}

int http_build_auth(const HttpAuthState *auth, HttpHead *head)
{
    return auth->type == kHttpAuthBasic ? buildBasic(auth, head) : buildDigest(auth, head);
}
