#include "meetings/Mixing.h"

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

constexpr double fullScale = 32'768;
/// Up to here the sum is kept as it is.
constexpr double knee = 0.7;

std::int16_t pressed(int sum) {
    const double value = sum / fullScale;
    const double size = std::abs(value);
    if (size <= knee)
        return static_cast<std::int16_t>(sum);
    const double soft = knee + (1 - knee) * (1 - std::exp(-(size - knee) / (1 - knee)));
    return static_cast<std::int16_t>(std::copysign(soft, value) * (fullScale - 1));
}

}  // namespace

std::vector<std::int16_t> mixed(std::span<const std::int16_t> user,
                                std::span<const std::int16_t> far) {
    std::vector<std::int16_t> sum(std::min(user.size(), far.size()));
    for (std::size_t i = 0; i < sum.size(); ++i)
        sum[i] = pressed(user[i] + far[i]);
    return sum;
}

}  // namespace quillet
