// What libFuzzer calls. QUILLET_FUZZ_TARGET names the function that this program fuzzes.
#include <cstddef>
#include <cstdint>

#include "Targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Characters may alias any bytes.
    quillet::fuzz::QUILLET_FUZZ_TARGET({reinterpret_cast<const char*>(data), size});
    return 0;
}
