#pragma once

// Fills the destination country columns of an imported database as a geolocating import would, for
// pictures and benchmarks on machines without the geolocation service. Each public IPv4 destination
// gets a country by a hash of its address, in the shares a corporate network's traffic shows (mostly
// the large cloud regions). Private, loopback and IPv6 destinations stay "n/a".

#include "store/Sqlite.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::bench {

struct CountryShare {
    const char* code;
    const char* name;
    int weight;
};

inline const std::vector<CountryShare>& countryShares() {
    static const std::vector<CountryShare> shares = {
        {"US", "United States", 420}, {"IE", "Ireland", 90},
        {"NL", "Netherlands", 80},    {"DE", "Germany", 70},
        {"GB", "United Kingdom", 50}, {"FR", "France", 35},
        {"SG", "Singapore", 30},      {"JP", "Japan", 25},
        {"CA", "Canada", 20},         {"AU", "Australia", 15},
        {"SE", "Sweden", 12},         {"IN", "India", 12},
        {"BR", "Brazil", 10},         {"CH", "Switzerland", 10},
        {"LU", "Luxembourg", 8},      {"RU", "Russia", 8},
        {"CN", "China", 8},           {"KR", "South Korea", 7},
        {"FI", "Finland", 6},         {"PL", "Poland", 6},
        {"ES", "Spain", 6},           {"IT", "Italy", 6},
        {"HK", "Hong Kong", 5},       {"ZA", "South Africa", 4},
        {"MT", "Malta", 3},           {"BH", "Bahrain", 3},
        {"IL", "Israel", 3},          {"UA", "Ukraine", 3},
        {"RO", "Romania", 3},         {"TR", "Turkey", 3},
        {"MX", "Mexico", 3},          {"AE", "United Arab Emirates", 3},
        {"NO", "Norway", 2},          {"AR", "Argentina", 2},
        {"CL", "Chile", 2},           {"ID", "Indonesia", 2},
        {"VN", "Vietnam", 2},         {"NG", "Nigeria", 1},
        {"KE", "Kenya", 1},           {"EG", "Egypt", 1},
        {"NZ", "New Zealand", 1},     {"IS", "Iceland", 1},
    };
    return shares;
}

inline bool isPublicIpv4(std::string_view ip) {
    unsigned a = 0, b = 0;
    if (std::sscanf(std::string(ip).c_str(), "%u.%u.", &a, &b) != 2 || ip.find(':') != std::string_view::npos)
        return false;
    return !(a == 10 || a == 127 || a == 0 || a >= 224 || (a == 172 && b >= 16 && b < 32) ||
             (a == 192 && b == 168) || (a == 169 && b == 254) || (a == 100 && b >= 64 && b < 128));
}

inline const CountryShare& countryOf(std::string_view ip) {
    std::uint64_t h = 1469598103934665603ull; // FNV-1a
    for (char c : ip)
        h = (h ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    int total = 0;
    for (const CountryShare& s : countryShares())
        total += s.weight;
    int pick = static_cast<int>(h % static_cast<std::uint64_t>(total));
    for (const CountryShare& s : countryShares())
        if ((pick -= s.weight) < 0)
            return s;
    return countryShares().front();
}

// Returns the number of distinct destination addresses given a country.
inline int fillDestinationCountries(sql::Database& db) {
    db.exec("CREATE TEMP TABLE IF NOT EXISTS IpCountry (Ip TEXT PRIMARY KEY, Code TEXT, Name TEXT);"
            "DELETE FROM IpCountry;");
    std::vector<std::string> ips;
    {
        sql::Statement distinct = db.prepare("SELECT DISTINCT DestinationIp FROM NetworkConnectionDetected");
        while (distinct.step())
            ips.emplace_back(distinct.columnText(0));
    }
    sql::Transaction transaction(db);
    sql::Statement insert = db.prepare("INSERT INTO IpCountry VALUES (?, ?, ?)");
    int filled = 0;
    for (const std::string& ip : ips) {
        if (!isPublicIpv4(ip))
            continue;
        const CountryShare& c = countryOf(ip);
        insert.bind(1, std::string_view(ip));
        insert.bindStatic(2, c.code);
        insert.bindStatic(3, c.name);
        insert.run();
        insert.reset();
        ++filled;
    }
    db.exec("UPDATE NetworkConnectionDetected SET "
            "DestinationCountryCode = (SELECT Code FROM IpCountry WHERE Ip = DestinationIp), "
            "DestinationCountry = (SELECT Name FROM IpCountry WHERE Ip = DestinationIp) "
            "WHERE DestinationIp IN (SELECT Ip FROM IpCountry)");
    transaction.commit();
    db.exec("DROP TABLE IpCountry");
    return filled;
}

} // namespace kelvane::bench
