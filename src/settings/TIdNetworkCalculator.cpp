#include "settings/TIdNetworkCalculator.h"

#include <stdexcept>

namespace kelvane {

namespace {

[[noreturn]] void throwNotAnAddress(const QString& dotted) {
    throw std::runtime_error(QStringLiteral("'%1' is not a valid IPv4 address").arg(dotted).toStdString());
}

} // namespace

quint32 TIdNetworkCalculator::parseAddress(const QString& dotted) {
    // Strict on purpose: no blanks, signs, hex or short forms such as "10.1", which a lenient
    // parser would silently turn into some other address.
    quint32 result = 0;
    int parts = 0;
    int digits = 0;
    quint32 part = 0;
    for (const QChar ch : dotted) {
        if (ch == QLatin1Char('.')) {
            if (digits == 0 || parts == 3)
                throwNotAnAddress(dotted);
            result = (result << 8) | part;
            ++parts;
            digits = 0;
            part = 0;
        } else if (ch >= QLatin1Char('0') && ch <= QLatin1Char('9')) {
            part = part * 10 + static_cast<quint32>(ch.unicode() - '0');
            if (part > 255 || ++digits > 3)
                throwNotAnAddress(dotted);
        } else {
            throwNotAnAddress(dotted);
        }
    }
    if (parts != 3 || digits == 0)
        throwNotAnAddress(dotted);
    return (result << 8) | part;
}

void TIdNetworkCalculator::setNetworkAddress(const QString& dotted) {
    m_address = parseAddress(dotted);
}

void TIdNetworkCalculator::setNetworkMask(const QString& dotted) {
    m_mask = parseAddress(dotted);
}

bool TIdNetworkCalculator::isAddressInNetwork(const QString& dotted) const {
    return (parseAddress(dotted) & m_mask) == (m_address & m_mask);
}

} // namespace kelvane
