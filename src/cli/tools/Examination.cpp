#include "cli/tools/Examination.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"
#include "cli/ControlClient.h"
#include "platform/linux/AccessibilityBus.h"
#include "platform/linux/PulseAudioInput.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/SystemServices.h"
#include "platform/linux/X11Desktop.h"
#include "settings/AppSettings.h"
#include "speech/ModelCatalogue.h"
#include "speech/SpeechClient.h"
#include "speech/SpeechModels.h"
#include "speech/VoskLibrary.h"
#include "store/SessionStore.h"

namespace quillet {

namespace {

using Health = Finding::Health;

}  // namespace

std::vector<Finding> Examination::run() {
    std::vector<Finding> findings = {application(), microphone()};
    for (auto& finding : desktop())
        findings.push_back(std::move(finding));
    findings.push_back(accessibility());
    findings.push_back(keyring());
    findings.push_back(engine());
    findings.push_back(server());
    findings.push_back(history());
    return findings;
}

Finding Examination::application() {
    const auto status =
        ControlClient(context_.paths.controlSocket()).call(control::status, nlohmann::json());
    if (!status)
        return {"Quillet", Health::optional, status.error().sentence, ""};
    if (!status->value("globalKeys", true))
        return {"Quillet", Health::optional, "It is running, but sees no keys on this desktop.",
                "Bind \"quillet toggle\" to a key in the desktop's settings."};
    const auto conflicts = status->value("conflicts", nlohmann::json::array());
    if (!conflicts.empty())
        return {"Quillet", Health::bad, conflicts.front().get<std::string>(), ""};
    return {"Quillet", Health::good, "It is running.", ""};
}

Finding Examination::microphone() {
    PulseConnection connection(context_.loop, context_.log);
    SteadyScheduler scheduler(context_.loop);
    PulseAudioInput input(connection, scheduler, context_.log);
    const auto devices = context_.loop.run(input.devices());
    if (devices.empty())
        return {"Microphone", Health::bad, "No audio input device available.",
                "Plug one in and choose it in the desktop's sound settings. A sound server "
                "(PulseAudio or PipeWire with pipewire-pulse) must be running."};
    return {"Microphone", Health::good, devices.front(), ""};
}

std::vector<Finding> Examination::desktop() {
    X11Desktop::Options options;
    options.dataFolders = X11Desktop::environmentDataFolders();
    auto opened = X11Desktop::open(std::move(options), context_.loop, context_.log);
    if (!opened)
        return {{"Keys and clipboard", Health::bad, "There is no X display.",
                 "Log in to an X11 session, or to one that runs X programs. Without it, words "
                 "cannot be typed into applications."}};
    auto& x11 = **opened;
    std::vector<Finding> findings;
    const auto keys = x11.keyboardMonitor().start([](const KeyboardEvent&) {},
                                                  [](const KeyboardMonitor::Conflict&) {});
    if (keys)
        findings.push_back({"Keys", Health::good, "Chords can be seen and pressed.", ""});
    else
        findings.push_back({"Keys", Health::bad, "This display shows no application its keys.",
                            "Bind \"quillet toggle\" to a key in the desktop's settings."});
    const auto before = x11.pasteboard().changeCount();
    const auto snapshot = context_.loop.run(x11.pasteboard().snapshot());
    if (snapshot.complete)
        findings.push_back({"Clipboard", Health::good,
                            fmt::format("It answers ({} formats).", snapshot.items.size()), ""});
    else
        findings.push_back({"Clipboard", Health::optional,
                            "The program that owns it does not answer in time.",
                            fmt::format("Copy something elsewhere. ({} changes seen.)", before)});
    return findings;
}

Finding Examination::accessibility() {
    if (accessibilityBusAnswers())
        return {"Accessibility", Health::good, "It answers.", ""};
    return {"Accessibility", Health::optional,
            "It does not answer; password fields cannot be told from others.",
            "Install at-spi2-core and log in again."};
}

Finding Examination::keyring() {
    const auto key = context_.loop.run(context_.settings().secret("sttAPIKey"));
    if (key)
        return {"Keyring", Health::good, "It is open.", ""};
    return {"Keyring", Health::optional, "Keys of servers cannot be stored or read.",
            std::string(explanation(key.error()))};
}

Finding Examination::engine() {
    const auto& record = context_.settings().record();
    const bool needed = record.sttEngineType == STTEngineType::apple;
    const auto lacking = needed ? Health::bad : Health::optional;
    const auto file = VoskLibrary::find(context_.paths.engineFolders);
    if (!file)
        return {"Recognition on this device", lacking, "The engine's library is not installed.",
                "Put libvosk.so into " + context_.paths.engineFolders.front().string() +
                    ", or use a server: quillet settings set sttEngineType cloud"};
    if (!VoskLibrary::load(*file))
        return {"Recognition on this device", lacking,
                file->string() + " cannot be loaded on this machine.", "Install it again."};
    const auto language = record.languageCode().value_or("mixed");
    const SpeechModels models(context_.paths.models(), context_.paths.systemModels);
    if (const auto model = models.find(language))
        return {"Recognition on this device", Health::good,
                fmt::format("The engine and the model for \"{}\" are there.", model->language), ""};
    const auto offered = modelCatalogue(context_.paths.modelCatalogue);
    const bool canBeHad =
        std::ranges::find(offered, language, &OfferedModel::language) != offered.end();
    std::string remedy =
        canBeHad
            ? fmt::format("Download one: quillet models download {}", language)
            : fmt::format("Install one: quillet models install FOLDER_OR_ARCHIVE --language {}",
                          language);
    for (const auto& model : models.list()) {
        if (model.problem.empty())
            remedy += fmt::format(
                ". A model for \"{0}\" is there: quillet settings set selectedLanguage {1}",
                model.language, languageSetting(model.language));
    }
    return {"Recognition on this device", lacking,
            fmt::format("There is no model for the language that is set (\"{}\").",
                        record.selectedLanguage),
            remedy};
}

Finding Examination::server() {
    const auto& record = context_.settings().record();
    const bool needed = record.sttEngineType == STTEngineType::cloud;
    if (record.sttEndpoint.empty()) {
        if (!needed)
            return {"Speech server", Health::optional, "None is set up, and none is needed.", ""};
        return {"Speech server", Health::bad, "STT endpoint or API key is not configured.",
                "quillet settings set sttEndpoint https://…/v1/audio/transcriptions"};
    }
    SteadyScheduler scheduler(context_.loop);
    KernelIds ids;
    SpeechClient client(context_.http(ServicePurpose::speech), scheduler, ids, context_.log);
    const auto key =
        context_.loop.run(context_.settings().secretFor("sttAPIKey", record.sttEndpoint));
    const auto report =
        context_.loop.run(client.testConnection(record.sttEndpoint, key.value_or("")));
    if (report.reachable)
        return {"Speech server", Health::good, report.sentence, ""};
    return {"Speech server", needed ? Health::bad : Health::optional, report.sentence,
            "Check sttEndpoint, and the key with `quillet keys list`."};
}

Finding Examination::history() {
    SessionStore store(context_.paths.sessionsDatabase(), {}, std::make_shared<KernelIds>(),
                       context_.log, nullptr, nullptr);
    const auto sessions = context_.loop.run(store.recentSessions(1));
    if (const auto error = context_.loop.run(store.lastError()))
        return {"History", Health::bad,
                fmt::format("The database {} cannot be used: {}.",
                            context_.paths.sessionsDatabase().string(), *error),
                "If it is damaged, move it away; Quillet makes a new one."};
    return {"History", Health::good,
            sessions.empty() ? "It is empty." : "The database can be read.", ""};
}

}  // namespace quillet
