#include "speech/ModelDownload.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/this_coro.hpp>
#include <atomic>
#include <cerrno>

#include "base/async/Checkpoint.h"
#include "base/file/FileDescriptor.h"
#include "base/file/Sha256.h"
#include "base/text/Sentence.h"
#include "base/text/Translation.h"
#include "settings/Consent.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds longestSilence{30};
constexpr long statusOk = 200;

/// A file without a name, so that it is gone with whoever has it open.
FileDescriptor namelessFile(const fs::path& folder) {
    std::error_code ec;
    fs::create_directories(folder, ec);
    std::string name = (folder / ".download.XXXXXX").string();
    FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (file.valid())
        ::unlink(name.c_str());
    return file;
}

/// Tells of the progress on the thread of whoever waits for the download, the newest only.
class ProgressTeller : public std::enable_shared_from_this<ProgressTeller> {
public:
    ProgressTeller(asio::any_io_executor executor, ModelDownload::OnProgress tell)
        : executor_(std::move(executor)), tell_(std::move(tell)) {}

    /// Any thread.
    void arrived(std::uint64_t bytes) {
        bytes_ = bytes;
        if (tell_ && !isTelling_.exchange(true))
            asio::post(executor_, [weak = weak_from_this()] {
                if (const auto teller = weak.lock())
                    teller->tellNow();
            });
    }

private:
    void tellNow() {
        isTelling_ = false;
        tell_(bytes_);
    }

    asio::any_io_executor executor_;
    ModelDownload::OnProgress tell_;
    std::atomic<std::uint64_t> bytes_{0};
    std::atomic<bool> isTelling_{false};
};

/// Writes down and checks what arrives. Used by one thread at a time.
class IncomingFile {
public:
    IncomingFile(FileDescriptor file, ProgressTeller& teller)
        : file_(std::move(file)), teller_(teller) {}

    bool take(std::string_view piece) {
        if (!file_.writeAll(piece)) {
            error_ = errno;
            return false;
        }
        checksum_.add(piece);
        bytes_ += piece.size();
        teller_.arrived(bytes_);
        return true;
    }

    [[nodiscard]] std::uint64_t bytes() const { return bytes_; }
    [[nodiscard]] int writeError() const { return error_; }
    /// To be asked once, when all has arrived.
    [[nodiscard]] bool is(const OfferedModel& model) {
        return bytes_ == model.bytes && checksum_.digits() == model.sha256;
    }
    /// A name under which this process can open it.
    [[nodiscard]] fs::path path() const {
        return fs::path("/proc/self/fd") / std::to_string(file_.get());
    }

private:
    FileDescriptor file_;
    ProgressTeller& teller_;
    Sha256 checksum_;
    std::uint64_t bytes_ = 0;
    int error_ = 0;
};

HttpRequest requestFor(const OfferedModel& model, IncomingFile& file) {
    HttpRequest request;
    request.url = model.url;
    request.timeout = std::chrono::milliseconds(0);
    request.stallTimeout = longestSilence;
    request.largestAnswer = model.bytes;
    request.onBody = [&file](std::string_view piece) { return file.take(piece); };
    return request;
}

std::string notWritten(const fs::path& folder, int error) {
    if (error == ENOSPC || error == EDQUOT)
        return sentence(translated("There is no room for the model in {}. Make room on the disk, "
                                   "then try again."),
                        folder.string());
    return sentence(translated("The model cannot be written to {}: {}."), folder.string(),
                    std::generic_category().message(error));
}

std::string unexpectedContent(const OfferedModel& model) {
    return sentence(translated("What {} sent is damaged, or another model than the one that is "
                               "known. It was not installed. Try again later."),
                    model.host());
}

std::string serviceOf(const OfferedModel& model) {
    const auto service = Consent::serviceOf(ServicePurpose::modelDownload, model.url);
    return service ? service->name() : std::string();
}

std::string explanation(const HttpError& error, const OfferedModel& model,
                        const IncomingFile& file) {
    const auto unreachable = [&model] {
        return sentence(translated("{} cannot be reached. Check the connection to the network, "
                                   "then try again."),
                        model.host());
    };
    switch (error.kind) {
        case HttpError::Kind::notAllowed:
            return sentence(translated("You have not allowed a download from {}. Allow it in "
                                       "Settings → Privacy, or with `quillet consent allow {}`, "
                                       "then try again."),
                            model.host(), serviceOf(model));
        case HttpError::Kind::tooLarge:
            return unexpectedContent(model);
        case HttpError::Kind::timedOut:
        case HttpError::Kind::broken:
        case HttpError::Kind::cancelled:
            if (file.bytes() == 0)
                return unreachable();
            return translated(
                "The download stopped in the middle. Nothing was installed; try "
                "again.");
        case HttpError::Kind::unreachable:
        case HttpError::Kind::badUrl:
        case HttpError::Kind::badHeader:
            return unreachable();
    }
    return {};
}

/// What keeps the file from being installed; empty where nothing does.
std::string problemOf(const HttpClient::Result& response, const OfferedModel& model,
                      IncomingFile& file, const fs::path& folder) {
    if (file.writeError() != 0)
        return notWritten(folder, file.writeError());
    if (!response)
        return explanation(response.error(), model, file);
    if (response->status != statusOk)
        return sentence(translated("{} does not have the model at the moment (HTTP {}). Try again "
                                   "later."),
                        model.host(), response->status);
    return file.is(model) ? std::string() : unexpectedContent(model);
}

}  // namespace

const OfferedModel* ModelDownload::find(std::string_view language) const {
    const auto found = std::ranges::find(services_.offered, language, &OfferedModel::language);
    return found == services_.offered.end() ? nullptr : &*found;
}

asio::awaitable<ModelDownload::Result> ModelDownload::run(OfferedModel model,
                                                          OnProgress onProgress) {
    const auto& folder = services_.models.folder();
    const auto teller =
        std::make_shared<ProgressTeller>(co_await asio::this_coro::executor, std::move(onProgress));
    int error = 0;
    auto nameless = co_await services_.worker->run([&folder, &error] {
        auto file = namelessFile(folder);
        error = file.valid() ? 0 : errno;
        return file;
    });
    co_await checkpoint();
    if (!nameless.valid())
        co_return std::unexpected(notWritten(folder, error));
    IncomingFile file(std::move(nameless), *teller);
    const auto response = co_await services_.http.perform(requestFor(model, file));
    co_await checkpoint();
    if (auto problem = problemOf(response, model, file, folder); !problem.empty())
        co_return std::unexpected(std::move(problem));
    auto install = [this, &file, &model](const std::stop_token& stop) {
        return services_.models.install(file.path(), model.language, stop);
    };
    auto installed = co_await services_.worker->run(std::move(install));
    co_await checkpoint();
    co_return installed;
}

}  // namespace quillet
