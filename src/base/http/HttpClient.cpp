#include "base/http/HttpClient.h"

namespace quillet {

asio::awaitable<bool> HttpClient::permitted(std::string) {
    co_return true;
}

}  // namespace quillet
