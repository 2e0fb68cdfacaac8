// The application `netrondo-app`.
#include "RenderCommand.h"
#include "Shell/MainWindow.h"
#include "Shell/VisibleTicks.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QSettings>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>

namespace netrondo {
namespace {

/// Until the first window is up: where there is no display Qt ends the program with a signal, which reads like a crash.
void explainTheMissingDisplay(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtFatalMsg) {
        fmt::print(stderr,
                   "netrondo-app: no window can be opened: the display does not answer; the analysis as text "
                   "needs none: netrondo analyze FILE\n");
        std::_Exit(1);
    }
    if (type == QtCriticalMsg)
        fmt::print(stderr, "netrondo-app: {}\n", text.toStdString());
}

int openWindow(int argc, char** argv)
{
    auto* const earlier = qInstallMessageHandler(explainTheMissingDisplay);
    QApplication application(argc, argv);
    qInstallMessageHandler(earlier);
    QApplication::setStyle(new VisibleTicks); // the application's from now on
    // Whoever keeps settings keeps them in one file, ~/.config/netrondo/netrondo.ini.
    QCoreApplication::setOrganizationName(QStringLiteral("netrondo"));
    QCoreApplication::setApplicationName(QStringLiteral("netrondo"));
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QCoreApplication::setApplicationVersion(QStringLiteral(NETRONDO_VERSION));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Netrondo"));
    QGuiApplication::setDesktopFileName(QStringLiteral("io.github.netrondo.Netrondo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows who talks to whom in a network capture (pcap, pcapng, gzip-compressed or not)."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("The capture to open"),
                                 QStringLiteral("[FILE]"));
    parser.process(application);

    MainWindow window;
    if (const auto files = parser.positionalArguments(); !files.empty())
        window.open(files.front()); // it is read while the window appears
    window.show();
    window.offerAbandoned();
    return QApplication::exec();
}

} // namespace
} // namespace netrondo

int main(int argc, char** argv)
{
    if (netrondo::asksForPictures(argc, argv))
        return netrondo::renderPictures(argc, argv);
    return netrondo::openWindow(argc, argv);
}
