#pragma once

#include <QByteArray>

namespace Tessary::Test {

/**
 * Version n of a large configuration document (1 to 2.8 MB, so that writing it takes a while). Whoever holds the
 * bytes can tell whether they are exactly version n: the padding's length and letter follow from n.
 */
inline QByteArray peerDocument(qint64 n)
{
    const QByteArray padding(1'000'000 + (n % 7) * 300'000, char('a' + n % 26));
    return "{\"version\":1,\"n\":" + QByteArray::number(n) + ",\"padding\":\"" + padding + "\"}";
}

} // namespace Tessary::Test
