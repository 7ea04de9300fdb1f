#include "helper/update/CodeRequirement.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QString head = u"=anchor apple generic and certificate leaf[subject.OU] = \""_s;
const QString middle = u"\" and identifier \""_s;
const QString tail = u"\" and certificate leaf[field.1.2.840.113635.100.6.1.13] exists"_s;

} // namespace

std::optional<CodeRequirement> CodeRequirement::parse(const QString &text)
{
    if (!text.startsWith(head) || !text.endsWith(tail) || text.size() < head.size() + tail.size()) {
        return std::nullopt;
    }
    const QString inner = text.mid(head.size(), text.size() - head.size() - tail.size());
    const qsizetype split = inner.indexOf(middle);
    if (split < 0) {
        return std::nullopt;
    }
    CodeRequirement requirement{inner.left(split), inner.mid(split + middle.size())};
    if (requirement.teamIdentifier.isEmpty() || requirement.identifier.isEmpty() ||
        requirement.teamIdentifier.contains(u'"') || requirement.identifier.contains(u'"')) {
        return std::nullopt;
    }
    return requirement;
}

} // namespace Tessary
