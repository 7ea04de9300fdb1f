#include <QFile>
#include <QStringList>

#include "app/TessaryApp.h"
#include "app/desktop/BundleInstall.h"
#include "updater/NativeUpdateArchiveVerification.h"
#include "app/TessaryUpdateConfiguration.h"
#include "updater/NativeUpdateHelper.h"

int main(int argc, char **argv)
{
    QStringList arguments;
    arguments.reserve(argc);
    for (int i = 0; i < argc; ++i) {
        arguments.append(QFile::decodeName(argv[i]));
    }

    if (Tessary::NativeUpdateHelper::runIfRequested(arguments)) {
        return 0;
    }
    if (const std::optional<int> status = Tessary::NativeUpdateArchiveVerification::runIfRequested(
            Tessary::tessaryUpdateConfiguration(), arguments)) {
        return *status;
    }
    if (const std::optional<int> status =
            Tessary::BundleInstall::runIfRequested(Tessary::tessaryUpdateConfiguration(), arguments)) {
        return *status;
    }
    return Tessary::TessaryApp::main(argc, argv, arguments);
}
