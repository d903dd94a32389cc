#include "tvn_sec_string.h"

#include <atomic>
#include <cstring>
#include <utility>

namespace tvn {

namespace {
std::atomic<SecString::release_observer> g_observer{nullptr};

void wipe_and_free(std::unique_ptr<char[]>& block, size_t bytes) noexcept {
    if (!block) return;
    secure_zero(block.get(), bytes);
    if (auto obs = g_observer.load(std::memory_order_relaxed)) obs(block.get(), bytes);
    block.reset();
}
}  // namespace

void secure_zero(void* p, size_t n) noexcept {
    if (p == nullptr || n == 0) return;
    // A volatile pointer keeps the compiler from eliding the stores.
    auto* v = static_cast<volatile unsigned char*>(p);
    for (size_t i = 0; i < n; ++i) v[i] = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void SecString::set_release_observer(release_observer obs) noexcept {
    g_observer.store(obs, std::memory_order_relaxed);
}

SecString::SecString(SecString&& other) noexcept
    : buf_(std::move(other.buf_)), size_(std::exchange(other.size_, 0)),
      cap_(std::exchange(other.cap_, 0)) {}

SecString& SecString::operator=(const SecString& other) {
    if (this != &other) assign(other.view());
    return *this;
}

SecString& SecString::operator=(SecString&& other) noexcept {
    if (this != &other) {
        release();
        buf_ = std::move(other.buf_);
        size_ = std::exchange(other.size_, 0);
        cap_ = std::exchange(other.cap_, 0);
    }
    return *this;
}

void SecString::release() noexcept {
    wipe_and_free(buf_, cap_ + 1);
    size_ = 0;
    cap_ = 0;
}

void SecString::clear() noexcept {
    if (buf_) secure_zero(buf_.get(), cap_ + 1);
    size_ = 0;
}

void SecString::grow_to(size_t capacity) {
    if (capacity <= cap_ && buf_) return;
    std::unique_ptr<char[]> fresh(new char[capacity + 1]);
    if (size_ != 0) std::memcpy(fresh.get(), buf_.get(), size_);
    fresh[size_] = '\0';
    wipe_and_free(buf_, cap_ + 1);
    buf_ = std::move(fresh);
    cap_ = capacity;
}

void SecString::reserve(size_t capacity) { grow_to(capacity); }

SecString& SecString::assign(std::string_view text) {
    // Overlapping input (a view of ourselves) must survive a reallocation.
    if (buf_ && text.data() >= buf_.get() && text.data() < buf_.get() + cap_ + 1) {
        SecString copy(text);
        *this = std::move(copy);
        return *this;
    }
    clear();
    if (text.size() > cap_ || !buf_) grow_to(text.size());
    if (!text.empty()) std::memcpy(buf_.get(), text.data(), text.size());
    size_ = text.size();
    buf_[size_] = '\0';
    return *this;
}

SecString& SecString::append(std::string_view text) {
    if (text.empty()) return *this;
    if (buf_ && text.data() >= buf_.get() && text.data() < buf_.get() + cap_ + 1) {
        SecString copy(text);
        return append(copy.view());
    }
    size_t need = size_ + text.size();
    if (need > cap_ || !buf_) {
        size_t cap = cap_ < 16 ? 16 : cap_;
        while (cap < need) cap *= 2;
        grow_to(cap);
    }
    std::memcpy(buf_.get() + size_, text.data(), text.size());
    size_ = need;
    buf_[size_] = '\0';
    return *this;
}

}  // namespace tvn
