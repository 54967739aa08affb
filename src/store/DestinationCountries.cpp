#include "store/DestinationCountries.h"

#include "store/TMainDataModule.h"

namespace kelvane {

std::vector<CountryCount> readDestinationCountries(TMainDataModule& data) {
    data.OpenDatabase();
    TQuery& query = data.query("FDQueryCountries");
    // Opening moves to the first row; an active query is read again from its start.
    query.open(data.connection());
    std::vector<CountryCount> countries;
    for (; !query.eof(); query.next())
        countries.push_back({query.text("DestinationCountryCode"), query.text("Count").toInt()});
    return countries;
}

} // namespace kelvane
