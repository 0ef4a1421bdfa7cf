#include "libtarnrules/Sha256.h"

#include <gcrypt.h>

#include <stdexcept>

namespace tarnrules {

namespace {

// The library wants to be told once that it is at work. No secrets are hashed: it need not lock memory.
void prepareLibrary() {
    if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) != 0) {
        return;
    }
    if (gcry_check_version(nullptr) == nullptr) {
        throw std::runtime_error("libgcrypt does not start");
    }
    static_cast<void>(gcry_control(GCRYCTL_DISABLE_SECMEM, 0));
    static_cast<void>(gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0));
}

}  // namespace

Sha256::Sha256() {
    prepareLibrary();
    gcry_md_hd_t handle = nullptr;
    if (const gcry_error_t error = gcry_md_open(&handle, GCRY_MD_SHA256, 0); error != 0) {
        throw std::runtime_error(std::string("libgcrypt has no SHA-256: ") + gcry_strerror(error));
    }
    handle_.reset(handle);
}

void Sha256::Closer::operator()(void* handle) const {
    gcry_md_close(static_cast<gcry_md_hd_t>(handle));
}

void Sha256::add(std::string_view bytes) {
    gcry_md_write(static_cast<gcry_md_hd_t>(handle_.get()), bytes.data(), bytes.size());
}

std::string Sha256::hex() {
    constexpr std::size_t kBytes = 32;
    constexpr char kDigits[] = "0123456789abcdef";
    const unsigned char* const digest = gcry_md_read(static_cast<gcry_md_hd_t>(handle_.get()), GCRY_MD_SHA256);
    std::string text;
    for (std::size_t index = 0; index < kBytes; ++index) {
        text += kDigits[digest[index] >> 4U];
        text += kDigits[digest[index] & 0xFU];
    }
    return text;
}

}  // namespace tarnrules
