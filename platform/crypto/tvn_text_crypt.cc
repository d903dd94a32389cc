#include "tvn_text_crypt.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <mutex>
#include <vector>

#include "tvn_fault.h"
#include "tvn_sysroot.h"

namespace tvn {

namespace {

constexpr size_t kKeyLen = 32;
constexpr size_t kNonceLen = 12;
constexpr size_t kTagLen = 16;
constexpr int32_t kErrIo = -5;
constexpr int32_t kErrInvalid = -22;

// Key bytes, wiped when they go.
struct key_bytes {
    std::array<unsigned char, kKeyLen> b{};
    ~key_bytes() { OPENSSL_cleanse(b.data(), b.size()); }
};

bool read_all(int fd, unsigned char* out, size_t len) {
    size_t got = 0;
    while (got < len) {
        ssize_t n = ::read(fd, out + got, len - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        got += static_cast<size_t>(n);
    }
    return true;
}

bool read_key(const std::string& path, key_bytes& key) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return false;
    struct stat st {};
    bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && static_cast<size_t>(st.st_size) == kKeyLen &&
              read_all(fd, key.b.data(), kKeyLen);
    ::close(fd);
    return ok;
}

// The key, made on first use. A new key is written to a private temporary
// file and linked into place, so that two processes starting at once end up
// with the same key and nobody ever reads a half-written one.
bool load_key(bool create, key_bytes& key) {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    const std::string path = sysroot_path(TEXT_KEY_FILE);
    if (read_key(path, key)) return true;
    if (!create) return false;
    if (make_parent_dirs(path, 0700) != 0) return false;
    std::string tmp = path + ".XXXXXX";
    int fd = ::mkstemp(tmp.data());
    if (fd < 0) return false;
    key_bytes fresh;
    bool ok = ::fchmod(fd, 0600) == 0 && RAND_bytes(fresh.b.data(), kKeyLen) == 1 &&
              ::write(fd, fresh.b.data(), kKeyLen) == static_cast<ssize_t>(kKeyLen) && ::fsync(fd) == 0;
    ::close(fd);
    if (ok) ok = ::link(tmp.c_str(), path.c_str()) == 0 || errno == EEXIST;
    ::unlink(tmp.c_str());
    return ok && read_key(path, key);
}

struct ctx_free {
    void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};
using cipher_ctx = std::unique_ptr<EVP_CIPHER_CTX, ctx_free>;

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

int32_t tvn_encrypt_text(std::string_view plain, std::string& hex) {
    if (fail_at("tvn_encrypt_text")) return kErrIo;
    key_bytes key;
    if (!load_key(true, key)) return kErrIo;
    std::vector<unsigned char> out(kNonceLen + plain.size() + kTagLen);
    if (RAND_bytes(out.data(), kNonceLen) != 1) return kErrIo;
    cipher_ctx ctx(EVP_CIPHER_CTX_new());
    int len = 0;
    if (!ctx || EVP_EncryptInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, key.b.data(), out.data()) != 1 ||
        EVP_EncryptUpdate(ctx.get(), out.data() + kNonceLen, &len,
                          reinterpret_cast<const unsigned char*>(plain.data()), static_cast<int>(plain.size())) != 1 ||
        EVP_EncryptFinal_ex(ctx.get(), out.data() + kNonceLen + len, &len) != 1 ||
        EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagLen),
                            out.data() + kNonceLen + plain.size()) != 1)
        return kErrIo;
    static constexpr char kDigits[] = "0123456789abcdef";
    hex.clear();
    hex.reserve(out.size() * 2);
    for (unsigned char b : out) {
        hex += kDigits[b >> 4];
        hex += kDigits[b & 0xf];
    }
    return 0;
}

int32_t tvn_decrypt_text(std::string_view hex, SecString& plain) {
    if (hex.size() % 2 != 0 || hex.size() < 2 * (kNonceLen + kTagLen)) return kErrInvalid;
    std::vector<unsigned char> in(hex.size() / 2);
    for (size_t i = 0; i < in.size(); ++i) {
        int hi = hex_value(hex[2 * i]), lo = hex_value(hex[2 * i + 1]);
        if (hi < 0 || lo < 0) return kErrInvalid;
        in[i] = static_cast<unsigned char>(hi << 4 | lo);
    }
    key_bytes key;
    if (!load_key(false, key)) return kErrIo;
    const size_t body = in.size() - kNonceLen - kTagLen;
    std::vector<unsigned char> out(body + 1);
    cipher_ctx ctx(EVP_CIPHER_CTX_new());
    int len = 0, tail = 0;
    bool ok = ctx && EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, key.b.data(), in.data()) == 1 &&
              EVP_DecryptUpdate(ctx.get(), out.data(), &len, in.data() + kNonceLen, static_cast<int>(body)) == 1 &&
              EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagLen),
                                  in.data() + kNonceLen + body) == 1 &&
              EVP_DecryptFinal_ex(ctx.get(), out.data() + len, &tail) == 1;
    if (ok) plain.assign(std::string_view(reinterpret_cast<const char*>(out.data()), body));
    OPENSSL_cleanse(out.data(), out.size());
    return ok ? 0 : kErrInvalid;
}

}  // namespace tvn
