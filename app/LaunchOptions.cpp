#include "app/LaunchOptions.h"

#include <algorithm>
#include <cstdio>

#include "updater/NativeBundle.h"

using namespace Qt::StringLiterals;

namespace Tessary::LaunchOptions {

namespace {

constexpr auto usage = R"(Usage: tessary [OPTION]

Turns a region of the screen into text and copies it. Without options it starts in the system tray; when it runs
already, the running instance does what the options ask.

Options of the tray application:
  --capture                     select a region and copy its text (bind this to a key in your desktop's
                                keyboard settings where Tessary cannot register its own shortcut)
  --open-settings               open the settings window
  --open-settings-ai            open the settings on the AI polishing pane
  --open-settings-appearance    open the settings on the appearance pane
  --open-settings-updates       open the settings on the updates pane
  --preview-toast               show the notice of copied text once

Command-line modes (each as the first argument; they print their result and exit):
  --ocr-file IMAGE              recognise the text of IMAGE, copy it and print it
  --benchmark-ocr-file IMAGE    recognise IMAGE and print the time taken
  --benchmark-ocr-warmup        load the recognition models and print the time taken
  --set-ai-key-stdin            store the AI service's API key read from standard input in the keyring
  --benchmark-ai                polish a sample text with the saved AI settings and print the time taken
  --help                        print this help
  --version                     print the version

The default capture shortcut is Ctrl+Shift+Super+2.
)";

bool isForwarded(const QString &argument)
{
    return argument.startsWith(u"--open-settings"_s) || argument == u"--preview-toast"_s || argument == u"--capture"_s;
}

} // namespace

QString versionLine()
{
    QString version = QStringLiteral(TESSARY_VERSION);
    QString build = QStringLiteral(TESSARY_BUILD_NUMBER);
    if (const std::optional<NativeBundle> &bundle = NativeBundle::main()) {
        version = bundle->string(u"CFBundleShortVersionString"_s).value_or(version);
        build = bundle->string(u"CFBundleVersion"_s).value_or(build);
    }
    return u"Tessary %1 (build %2)"_s.arg(version, build);
}

std::optional<int> runIfRequested(const QStringList &arguments)
{
    if (arguments.size() != 2) {
        return std::nullopt;
    }
    if (arguments[1] == u"--help"_s || arguments[1] == u"-h"_s) {
        std::fputs(usage, stdout);
        return 0;
    }
    if (arguments[1] == u"--version"_s) {
        std::fputs(qPrintable(versionLine() + u'\n'), stdout);
        return 0;
    }
    return std::nullopt;
}

QByteArray instanceRequest(const QStringList &arguments)
{
    QStringList forwarded;
    for (const QString &argument : arguments.mid(1)) {
        if (isForwarded(argument) && !forwarded.contains(argument)) {
            forwarded.append(argument);
        }
    }
    return forwarded.isEmpty() ? QByteArrayLiteral("reopen") : forwarded.join(u' ').toUtf8();
}

QStringList requestedOptions(const QByteArray &request)
{
    if (request == "reopen") {
        return {};
    }
    // An instance of an earlier version asked for a capture this way.
    if (request == "capture") {
        return {u"--capture"_s};
    }
    QStringList options;
    for (const QString &option : QString::fromUtf8(request).split(u' ', Qt::SkipEmptyParts)) {
        if (isForwarded(option)) {
            options.append(option);
        }
    }
    return options;
}

int settingsTab(const QStringList &arguments)
{
    if (arguments.contains(u"--open-settings-ai"_s)) {
        return 1;
    }
    if (arguments.contains(u"--open-settings-appearance"_s)) {
        return 2;
    }
    if (arguments.contains(u"--open-settings-updates"_s)) {
        return 3;
    }
    return 0;
}

bool opensSettings(const QStringList &arguments)
{
    return std::ranges::any_of(arguments,
                               [](const QString &argument) { return argument.startsWith(u"--open-settings"_s); });
}

} // namespace Tessary::LaunchOptions
