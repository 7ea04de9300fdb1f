// tessary-helper for the tests: only the updater's tools, built with the throwaway keys of the test build.

#include <cstdio>

#include "helper/update/UpdateTools.h"

int main(int argc, char **argv)
{
    if (const std::optional<int> status = Tessary::UpdateTools::runIfRequested(argc, argv)) {
        return *status;
    }
    std::fputs("usage: tessary-helper ditto | codesign | spctl | open\n", stderr);
    return 1;
}
