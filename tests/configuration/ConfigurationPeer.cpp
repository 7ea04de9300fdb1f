// Test helper: another program that changes the configuration file (see PeerProcess.h).

#include <cstdio>

#include <QFile>

#include "configuration/SecureConfigurationRepository.h"

int main(int argc, char **argv)
{
    const QByteArray command = argc == 4 ? argv[1] : "";
    QFile file(QFile::decodeName(argv[argc - 2]));
    if (command == "write") {
        return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(argv[3]) >= 0 ? 0 : 1;
    }
    if (command == "replace") {
        return Tessary::SecureConfigurationRepository(file.fileName()).replace(argv[3]) ? 0 : 1;
    }
    std::fputs("usage: ConfigurationPeer write|replace PATH TEXT\n", stderr);
    return 2;
}
