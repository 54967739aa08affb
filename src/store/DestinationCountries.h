#pragma once

#include <QString>

#include <vector>

namespace kelvane {

class TMainDataModule;

struct CountryCount {
    QString code;
    int count = 0;
};

// The destination countries of the network connections with their counts, as the map lights them:
// rows whose country is unknown ("n/a" or empty) are left out. Opens the connection when it is closed.
std::vector<CountryCount> readDestinationCountries(TMainDataModule& data);

} // namespace kelvane
