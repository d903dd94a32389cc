#pragma once
// Holder for secrets (passwords, keys). Every buffer it ever owned is wiped
// before it goes back to the allocator: on destruction, on clear, on
// assignment and whenever growth moves the text to a larger buffer. There is
// deliberately no small-string buffer inside the object, so no copy of the
// secret survives outside the wiped heap block.
#include <cstddef>
#include <memory>
#include <string_view>

namespace tvn {

void secure_zero(void* p, size_t n) noexcept;

class SecString {
public:
    SecString() noexcept = default;
    explicit SecString(std::string_view text) { assign(text); }
    SecString(const SecString& other) { assign(other.view()); }
    SecString(SecString&& other) noexcept;
    SecString& operator=(const SecString& other);
    SecString& operator=(SecString&& other) noexcept;
    ~SecString() { release(); }

    SecString& assign(std::string_view text);
    SecString& append(std::string_view text);
    SecString& append(char c) { return append(std::string_view(&c, 1)); }
    void reserve(size_t capacity);
    void clear() noexcept;

    const char* c_str() const noexcept { return buf_ ? buf_.get() : ""; }
    const char* data() const noexcept { return c_str(); }
    size_t size() const noexcept { return size_; }
    size_t length() const noexcept { return size_; }
    size_t capacity() const noexcept { return cap_; }
    bool empty() const noexcept { return size_ == 0; }
    std::string_view view() const noexcept { return {c_str(), size_}; }

    friend bool operator==(const SecString& a, const SecString& b) noexcept {
        return a.view() == b.view();
    }
    friend bool operator==(const SecString& a, std::string_view b) noexcept {
        return a.view() == b;
    }

    // Test hook: called with every block just before it is freed, after the
    // wipe, so a test can verify the wipe without reading freed memory.
    using release_observer = void (*)(const char* block, size_t bytes);
    static void set_release_observer(release_observer obs) noexcept;

private:
    void grow_to(size_t capacity);
    void release() noexcept;

    std::unique_ptr<char[]> buf_;
    size_t size_ = 0;
    size_t cap_ = 0;  // bytes usable for text; the block holds cap_ + 1
};

}  // namespace tvn

using tvn::SecString;
