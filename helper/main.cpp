// tessary-helper: small tools that the application runs as child processes. The first argument names the tool.

#include <cstdio>
#include <cstring>

#include "helper/ClipboardServe.h"
#include "helper/screencapture/ScreenCaptureTool.h"
#include "helper/update/UpdateTools.h"

int main(int argc, char **argv)
{
    if (argc >= 2 && std::strcmp(argv[1], "clipboard-serve") == 0) {
        return Tessary::ClipboardServe::run(argc, argv);
    }
    if (argc >= 2 && std::strcmp(argv[1], "screencapture") == 0) {
        return Tessary::ScreenCaptureTool::run(argc, argv);
    }
    if (const std::optional<int> status = Tessary::UpdateTools::runIfRequested(argc, argv)) {
        return *status;
    }
    std::fputs(
        "usage: tessary-helper clipboard-serve | screencapture -i -x -t png PATH | ditto | codesign | spctl | open\n",
        stderr);
    return 1;
}
