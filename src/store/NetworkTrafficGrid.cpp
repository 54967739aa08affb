#include "store/NetworkTrafficGrid.h"

namespace kelvane {

const std::vector<NetworkTrafficGrid::Column>& NetworkTrafficGrid::columns() {
    static const std::vector<Column> list = {
        {"cxGridNetworkEventsViewUtcTime", "UtcTime", "UTC time", 115},
        {"cxGridNetworkEventsViewProcessGuid", "ProcessGuid", "Process GUID", 240},
        {"cxGridNetworkEventsViewImage", "Image", "Image", 154},
        {"cxGridNetworkEventsViewComputer", "Computer", "Computer", 182},
        {"cxGridNetworkEventsViewUser", "User", "User", 138},
        {"cxGridNetworkEventsViewProtocol", "Protocol", "Protocol", 90},
        {"cxGridNetworkEventsViewSourceIp", "SourceIp", "Source IP", 110},
        {"cxGridNetworkEventsViewSourcePort", "SourcePort", "Source port", 60},
        {"cxGridNetworkEventsViewSourceCountry", "SourceCountry", "Source country", 100},
        {"cxGridNetworkEventsViewDestinationIp", "DestinationIp", "Destination IP", 110},
        {"cxGridNetworkEventsViewDestinationPort", "DestinationPort", "Destination port", 60},
        {"cxGridNetworkEventsViewDestinationCountry", "DestinationCountry", "Destination country", 100},
        {"cxGridNetworkEventsViewRuleName", "RuleName", "RuleName", 0},
    };
    return list;
}

QStringList NetworkTrafficGrid::captions() {
    QStringList list;
    for (const Column& c : columns())
        list << c.caption;
    return list;
}

std::string NetworkTrafficGrid::querySql() {
    return "SELECT * FROM NetworkConnectionDetected\n"
           "WHERE UPPER(DestinationCountryCode) = UPPER(:Code)";
}

std::string NetworkTrafficGrid::rowsSql() {
    std::string fields;
    for (const Column& c : columns())
        fields += (fields.empty() ? "" : ", ") + c.field.toStdString();
    return "SELECT " + fields + " FROM (" + querySql() + ")";
}

} // namespace kelvane
