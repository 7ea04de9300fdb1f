#include "helper/ClipboardServe.h"

#include <cstdio>

#include <unistd.h>

#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>

namespace Tessary::ClipboardServe {

int run(int &argc, char **argv)
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly)) {
        return 1;
    }
    const QString text = QString::fromUtf8(input.readAll());
    input.close();

    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication application(argc, argv);
    QClipboard *clipboard = QGuiApplication::clipboard();
    auto *data = new QMimeData;
    data->setText(text);
    clipboard->setMimeData(data, QClipboard::Clipboard);
    if (!clipboard->ownsClipboard()) {
        return 1;
    }
    QObject::connect(clipboard, &QClipboard::changed, &application, [clipboard](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard && !clipboard->ownsClipboard()) {
            QCoreApplication::quit();
        }
    });

    std::fputs("ok", stdout);
    std::fflush(stdout);
    // Nobody reads from us any more; a closed pipe must not be what ends us later.
    std::fclose(stdout);
    return application.exec();
}

} // namespace Tessary::ClipboardServe
