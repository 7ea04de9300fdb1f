#include <QFile>
#include <QStringList>

#include "app/TessaryApp.h"
#include "app/desktop/BundleInstall.h"
#include "app/TessaryUpdateConfiguration.h"
#include "app/localization/TessaryLocalized.h"
#include "platform/defaults/UserDefaults.h"
#include "updater/NativeUpdateArchiveVerification.h"
#include "updater/NativeUpdateHelper.h"

using namespace Qt::StringLiterals;

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
    // The verification and first-install modes report in the language the user chose for the application.
    if (arguments.size() > 1 && (arguments[1] == u"--verify-update-archive" || arguments[1] == u"--install-bundle")) {
        Tessary::setUpdaterLanguage(
            Tessary::tessaryUpdaterLanguage(Tessary::tessaryStoredLanguage(Tessary::UserDefaults())));
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
