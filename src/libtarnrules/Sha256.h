// SHA-256, of the distribution's library.
#ifndef TARN_RULES_SHA256_H
#define TARN_RULES_SHA256_H

#include <memory>
#include <string>
#include <string_view>

namespace tarnrules {

class Sha256 {
public:
    // Throws std::runtime_error where the library refuses its work.
    Sha256();

    void add(std::string_view bytes);
    // 64 hexadecimal digits, of everything that was added; once.
    std::string hex();

private:
    struct Closer {
        void operator()(void* handle) const;
    };
    std::unique_ptr<void, Closer> handle_;
};

}  // namespace tarnrules

#endif
