#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/async/SerialQueue.h"
#include "meetings/MeetingNote.h"
#include "meetings/Turns.h"
#include "meetings/TwoSides.h"
#include "speech/OnDeviceTranscriber.h"
#include "speech/SpeechClient.h"

namespace quillet {

/// Has pieces of a meeting transcribed, by a speech server or on the device, and tells who said
/// what: by the server's labels, else by the side that it came from. Belongs to the main queue's
/// thread; must outlive what it was asked for.
class PieceRecogniser {
public:
    struct Config {
        std::string stt;  ///< the server's address; empty: the device recognises
        std::string sttKey;
        std::string sttModel;
        std::string language;  ///< the setting
        std::optional<std::string> sentLanguage;
        std::vector<std::string> vocabulary;
    };
    struct Services {
        SpeechClient& client;
        OnDeviceTranscriber& onDevice;
        SerialQueue& worker;  ///< where samples are looked through
    };
    using Piece = std::shared_ptr<const TwoSides>;
    using Lines = std::expected<std::vector<MeetingNote::Line>, STTError>;

    PieceRecogniser(Services services, Config config);

    /// What was said in a piece that begins at `start`; none when there was no speech.
    [[nodiscard]] asio::awaitable<Lines> recognise(Piece piece, MeetingNote::Seconds start);
    /// The same by the device, for a server that fails.
    [[nodiscard]] asio::awaitable<Lines> recogniseOnDevice(Piece piece, MeetingNote::Seconds start);
    /// Whether the device could stand in.
    [[nodiscard]] bool deviceCan() const;

private:
    using Transcript = std::expected<SpeechClient::Transcript, STTError>;
    using Samples = std::shared_ptr<const std::vector<std::int16_t>>;
    enum class Engine { server, device };
    struct Prepared {
        std::vector<Turn> turns;
        Samples whole;  ///< both sides in one
    };

    asio::awaitable<Lines> recogniseBy(Engine engine, Piece piece, MeetingNote::Seconds start);
    asio::awaitable<Lines> recogniseTurns(Engine engine, Piece piece, std::vector<Turn> turns,
                                          MeetingNote::Seconds start);
    asio::awaitable<Transcript> ask(Engine engine, Samples samples);
    asio::awaitable<Transcript> askServer(Samples samples);

    Services services_;
    Config config_;
    bool serverTellsParts_ = true;  // until it has given a transcript without
};

}  // namespace quillet
