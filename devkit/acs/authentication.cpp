#include "authentication.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <stdexcept>
#include <vector>

static constexpr char kRealm[] = "acsd";
static constexpr size_t kNonceBytes = 16;
/// Challenges kept; one that is pushed out is simply challenged anew.
static constexpr size_t kMostNonces = 256;

static std::string toHex(const unsigned char *bytes, size_t count)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4U];
        text += kDigits[bytes[i] & 15U];
    }
    return text;
}

static std::string md5(const std::string &text)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &length, EVP_md5(), nullptr) != 1)
        throw std::runtime_error("MD5 is not available");
    return toHex(digest, length);
}

std::string makeToken(size_t bytes)
{
    std::vector<unsigned char> random(bytes);
    if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1)
        throw std::runtime_error("no random bytes");
    return toHex(random.data(), bytes);
}

std::string makeChallenge(Guard &guard)
{
    if (guard.scheme == Scheme::basic)
        return std::string("Basic realm=\"") + kRealm + "\"";
    guard.nonces.push_back(makeToken(kNonceBytes));
    if (guard.nonces.size() > kMostNonces)
        guard.nonces.pop_front();
    return std::string("Digest realm=\"") + kRealm + "\", nonce=\"" + guard.nonces.back() +
           "\", qop=\"auth\", algorithm=MD5, opaque=\"" + makeToken(kNonceBytes) + "\"";
}

static std::string encodeBase64(const std::string &text)
{
    std::vector<unsigned char> encoded((text.size() + 2) / 3 * 4 + 1);
    const int length = EVP_EncodeBlock(encoded.data(), reinterpret_cast<const unsigned char *>(text.data()),
                                       static_cast<int>(text.size()));
    return {encoded.begin(), encoded.begin() + length};
}

/// Reads KEY=VALUE or KEY="VALUE" pairs parted by commas; keys in lower case.
static std::map<std::string, std::string> readPairs(const std::string &text, size_t at)
{
    std::map<std::string, std::string> pairs;
    while (at < text.size()) {
        at = text.find_first_not_of(" \t,", at);
        const size_t equals = at == std::string::npos ? at : text.find('=', at);
        if (equals == std::string::npos)
            break;
        std::string key = text.substr(at, equals - at);
        std::transform(key.begin(), key.end(), key.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const bool quoted = equals + 1 < text.size() && text[equals + 1] == '"';
        const size_t begin = equals + (quoted ? 2 : 1);
        const size_t end =
            std::min(quoted ? text.find('"', begin) : text.find_first_of(", \t", begin), text.size());
        pairs[key] = text.substr(begin, end - begin);
        at = end + (quoted ? 1 : 0);
    }
    return pairs;
}

static std::string findBasicRefusal(const Guard &guard, const std::string &authorization)
{
    static const std::string kScheme = "Basic ";
    if (authorization.compare(0, kScheme.size(), kScheme) != 0)
        return "the answer to the challenge is not Basic";
    const bool fits = authorization.substr(kScheme.size()) == encodeBase64(guard.user + ":" + guard.password);
    return fits ? "" : "wrong user name or password";
}

static std::string findDigestRefusal(const Guard &guard, const std::string &method, const std::string &target,
                                     const std::string &authorization)
{
    static const std::string kScheme = "Digest ";
    if (authorization.compare(0, kScheme.size(), kScheme) != 0)
        return "the answer to the challenge is not Digest";
    auto given = readPairs(authorization, kScheme.size());
    if (given["username"] != guard.user)
        return "unknown user name \"" + given["username"] + "\"";
    if (given["realm"] != kRealm)
        return "wrong realm \"" + given["realm"] + "\"";
    if (std::find(guard.nonces.begin(), guard.nonces.end(), given["nonce"]) == guard.nonces.end())
        return "a nonce that was not given out";
    if (given["uri"] != target)
        return "the answer covers \"" + given["uri"] + "\", not \"" + target + "\"";
    if (given["qop"] != "auth" || given["nc"].empty() || given["cnonce"].empty())
        return "qop, nc or cnonce is missing";

    const std::string secret = md5(guard.user + ":" + kRealm + ":" + guard.password);
    const std::string response = md5(secret + ":" + given["nonce"] + ":" + given["nc"] + ":" +
                                     given["cnonce"] + ":auth:" + md5(method + ":" + target));
    return given["response"] == response ? "" : "wrong password";
}

std::string findRefusal(const Guard &guard, const std::string &method, const std::string &target,
                        const std::string &authorization)
{
    if (guard.scheme == Scheme::none)
        return "";
    if (authorization.empty())
        return "no credentials";
    if (guard.scheme == Scheme::basic)
        return findBasicRefusal(guard, authorization);
    return findDigestRefusal(guard, method, target, authorization);
}
