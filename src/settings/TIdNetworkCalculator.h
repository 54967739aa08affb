#pragma once

#include <QString>
#include <QtGlobal>

namespace kelvane {

// Holds one IPv4 network, as address and mask, and tells whether a dotted address lies in it.
// Callers reuse one object and overwrite the network before each test.
class TIdNetworkCalculator {
public:
    // Each throws std::runtime_error when the text is not four dotted numbers of 0 to 255.
    void setNetworkAddress(const QString& dotted);
    void setNetworkMask(const QString& dotted);
    bool isAddressInNetwork(const QString& dotted) const;

    // The address as a 32-bit number, first byte highest; throws as above.
    static quint32 parseAddress(const QString& dotted);

private:
    quint32 m_address = 0;
    quint32 m_mask = 0;
};

} // namespace kelvane
