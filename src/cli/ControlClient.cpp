#include "cli/ControlClient.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "base/file/FileDescriptor.h"
#include "base/rpc/ControlProtocol.h"

namespace quillet {

namespace {

using nlohmann::json;

std::expected<FileDescriptor, ControlClient::Failure> connectTo(const std::string& path,
                                                                std::chrono::seconds longestWait) {
    const ControlClient::Failure notRunning{true,
                                            "Quillet is not running. Start it with `quillet`."};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return std::unexpected(notRunning);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.valid() ||
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return std::unexpected(notRunning);
    const timeval longestAnswer = {longestWait.count(), 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &longestAnswer, sizeof longestAnswer);
    return socket;
}

}  // namespace

std::expected<json, ControlClient::Failure> ControlClient::call(
    std::string_view method, const json& params, std::chrono::seconds longestWait) const {
    auto socket = connectTo(socket_.string(), longestWait);
    if (!socket)
        return std::unexpected(socket.error());
    const json request = {{"jsonrpc", "2.0"}, {"id", 1}, {"method", method}, {"params", params}};
    const Failure noAnswer{false, "Quillet does not answer. Quit it and start it again."};
    if (!socket->writeAll(request.dump() + "\n"))
        return std::unexpected(noAnswer);
    std::string line;
    while (line.find('\n') == std::string::npos) {
        char buffer[4'096];
        const auto count = ::recv(socket->get(), buffer, sizeof buffer, 0);
        if (count == 0)
            return std::unexpected(Failure{true, "Quillet ended before it answered."});
        if (count < 0 || line.size() > control::longestLine)
            return std::unexpected(noAnswer);
        line.append(buffer, static_cast<std::size_t>(count));
    }
    const auto reply = json::parse(line, nullptr, false);
    if (!reply.is_object())
        return std::unexpected(noAnswer);
    if (reply.contains("error"))
        return std::unexpected(Failure{false, reply["error"].value("message", "It was refused.")});
    return reply.value("result", json());
}

}  // namespace quillet
