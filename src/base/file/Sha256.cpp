#include "base/file/Sha256.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>
#include <new>

namespace quillet {

struct Sha256::State {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(),
                                                                    EVP_MD_CTX_free};
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
    if (!state_->context || EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
}

Sha256::~Sha256() = default;

void Sha256::add(std::string_view bytes) {
    EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size());
}

std::string Sha256::digits() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EVP_DigestFinal_ex(state_->context.get(), digest.data(), &size);
    std::string text;
    for (unsigned i = 0; i < size; ++i)
        text += fmt::format("{:02x}", digest[i]);
    return text;
}

}  // namespace quillet
