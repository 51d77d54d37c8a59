#include <QApplication>
#include <QIcon>
#include <QTimer>
#include <cstdio>

#include "app/ControlServer.h"
#include "app/main/Application.h"
#include "app/main/StartOptions.h"

namespace {

constexpr int cannotStart = 1;

}  // namespace

int main(int argc, char** argv) {
    using namespace quillet;
    const auto options = readStartOptions(argc, argv);
    if (!options)
        return options.error();
    giveLargeBlocksBack();
    allowManyDescriptors();
    const Paths paths = pathsFromEnvironment();
    const auto privacy = privateTextWanted() ? Log::PrivateText::show : Log::PrivateText::hide;
    const Log log(makeStderrLogSink(LogLevel::info), privacy);

    QApplication qt(argc, argv);
    QApplication::setApplicationName(QStringLiteral("quillet"));
    QApplication::setDesktopFileName(QStringLiteral("com.quillet.Quillet"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("com.quillet.Quillet")));
    QApplication::setQuitOnLastWindowClosed(false);

    QtLoop loop;
    JsonRpcDispatcher dispatcher;
    SteadyScheduler scheduler(loop);
    ControlServer door(dispatcher, loop, scheduler, log.category("control"));
    if (const auto opened = door.listen(paths.controlSocket()); !opened) {
        if (opened.error() == ControlServer::Error::anotherIsRunning)
            std::fputs("Quillet is running already. `quillet` brings up its menu.\n", stderr);
        return cannotStart;
    }
    Application application(paths, loop, scheduler, dispatcher, log);
    if (options->open)
        application.open(*options->open);
    else
        application.welcome();
    QTimer::singleShot(0, &qt, [&log] { log.info("Ready"); });
    int status = QApplication::exec();
    // A desktop that ends the session may end Qt's loop before everything is given back.
    while (!application.hasEnded()) {
        application.quit();
        status = QApplication::exec();
    }
    door.close();
    return status;
}
