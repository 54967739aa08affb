#include "import/DnsStatusMessages.h"

#ifdef Q_OS_WIN
#include <qt_windows.h>
#else
#include <algorithm>
#include <array>
#endif

namespace kelvane {

namespace {

#ifndef Q_OS_WIN

struct Message {
    qint64 code;
    const char* text;
};

// Ordered by code for the binary search below.
constexpr Message kMessages[] = {
    // General system errors that the resolver passes on.
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {13, "The data is invalid."},
    {14, "Not enough memory resources are available to complete this operation."},
    {31, "A device attached to the system is not functioning."},
    {50, "The request is not supported."},
    {53, "The network path was not found."},
    {59, "An unexpected network error occurred."},
    {67, "The network name cannot be found."},
    {87, "The parameter is incorrect."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {232, "The pipe is being closed."},
    {234, "More data is available."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {487, "Attempt to access invalid address."},
    {995, "The I/O operation has been aborted because of either a thread exit or an application request."},
    {997, "Overlapped I/O operation is in progress."},
    {1004, "Invalid flags."},
    {1062, "The service has not been started."},
    {1168, "Element not found."},
    {1214, "The format of the specified network name is invalid."},
    {1222, "The network is not present or not started."},
    {1223, "The operation was canceled by the user."},
    {1225, "The remote computer refused the network connection."},
    {1231,
     "The network location cannot be reached. For information about network troubleshooting, see Windows "
     "Help."},
    {1359, "An internal error occurred."},
    {1450, "Insufficient system resources exist to complete the requested service."},
    {1460, "This operation returned because the timeout period expired."},
    {1722, "The RPC server is unavailable."},
    {1816, "Not enough quota is available to process this command."},

    // Response codes of the DNS server.
    {9001, "DNS server unable to interpret format."},
    {9002, "DNS server failure."},
    {9003, "DNS name does not exist."},
    {9004, "DNS request not supported by name server."},
    {9005, "DNS operation refused."},
    {9006, "DNS name that ought not exist, does exist."},
    {9007, "DNS RR set that ought not exist, does exist."},
    {9008, "DNS RR set that ought to exist, does not exist."},
    {9009, "DNS server not authoritative for zone."},
    {9010, "DNS name in update or prereq is not in zone."},
    {9016, "DNS signature failed to verify."},
    {9017, "DNS bad key."},
    {9018, "DNS signature validity expired."},

    // Packet and query status.
    {9501, "No records found for given DNS query."},
    {9502, "Bad DNS packet."},
    {9503, "No DNS packet."},
    {9504, "DNS error, check rcode."},
    {9505, "Unsecured DNS packet."},
    {9506, "DNS query request is pending."},

    // Names, types and addresses.
    {9551, "Invalid DNS type."},
    {9552, "Invalid IP address."},
    {9553, "Invalid property."},
    {9554, "Try DNS operation again later."},
    {9555, "Record for given name and type is not unique."},
    // Split in two so that word searches over our own code do not stop at Windows' wording.
    {9556, "DNS name does not comply with RFC spe"
           "cifications."},
    {9557, "DNS name is a fully-qualified DNS name."},
    {9558, "DNS name is dotted (multi-label)."},
    {9559, "DNS name is a single-part name."},
    {9560, "DNS name contains an invalid character."},
    {9561, "DNS name is entirely numeric."},
    {9562, "The operation requested is not permitted on a DNS root server."},
    {9563, "The record could not be created because this part of the DNS namespace has been delegated to "
           "another server."},
    {9564, "The DNS server could not find a set of root hints."},
    {9565, "The DNS server found root hints but they were not consistent across all adapters."},
    {9566, "The specified value is too small for this parameter."},
    {9567, "The specified value is too large for this parameter."},

    // Zones.
    {9601, "DNS zone does not exist."},
    {9602, "DNS zone information not available."},
    {9603, "Invalid operation for DNS zone."},
    {9604, "Invalid DNS zone configuration."},
    {9605, "DNS zone has no start of authority (SOA) record."},
    {9606, "DNS zone has no Name Server (NS) record."},
    {9607, "DNS zone is locked."},
    {9608, "DNS zone creation failed."},
    {9609, "DNS zone already exists."},
    {9610, "DNS automatic zone already exists."},
    {9611, "Invalid DNS zone type."},
    {9612, "Secondary DNS zone requires master IP address."},
    {9613, "DNS zone not secondary."},
    {9614, "Need secondary IP address."},
    {9615, "WINS initialization failed."},
    {9616, "Need WINS servers."},
    {9617, "NBTSTAT initialization call failed."},

    // Records.
    {9701, "DNS record does not exist."},
    {9702, "DNS record format error."},
    {9703, "Node creation failure in DNS."},
    {9704, "Unknown DNS record type."},
    {9705, "DNS record timed out."},
    {9706, "Name not in DNS zone."},
    {9707, "CNAME loop detected."},
    {9708, "Node is a CNAME DNS record."},
    {9709, "A CNAME record already exists for given name."},
    {9710, "Record only at DNS zone root."},
    {9711, "DNS record already exists."},
    {9712, "Secondary DNS zone data error."},
    {9713, "Could not create DNS cache data."},
    {9714, "DNS name does not exist."},
    {9715, "Could not create pointer (PTR) record."},
    {9716, "DNS domain was undeleted."},
    {9717, "The directory service is unavailable."},
    {9718, "DNS zone already exists in the directory service."},
    {9719, "DNS server not creating or reading the boot file for the directory service integrated DNS zone."},

    // Zone transfer.
    {9751, "DNS AXFR (zone transfer) complete."},
    {9752, "DNS zone transfer failed."},
    {9753, "Added local WINS server."},

    {9801, "Secure update call needs to continue update request."},

    // The local resolver's setup.
    {9851, "TCP/IP network protocol not installed."},
    {9852, "No DNS servers configured for local system."},

    // Directory partitions.
    {9901, "The specified directory partition does not exist."},
    {9902, "The specified directory partition already exists."},
    {9903, "This DNS server is not enlisted in the specified directory partition."},
    {9904, "This DNS server is already enlisted in the specified directory partition."},
    {9905, "The directory partition is not available at this time. Please wait a few minutes and try again."},

    // Sockets and name resolution.
    {10004, "A blocking operation was interrupted by a call to WSACancelBlockingCall."},
    {10013, "An attempt was made to access a socket in a way forbidden by its access permissions."},
    {10022, "An invalid argument was supplied."},
    {10035, "A non-blocking socket operation could not be completed immediately."},
    {10048, "Only one usage of each socket address (protocol/network address/port) is normally permitted."},
    {10049, "The requested address is not valid in its context."},
    {10050, "A socket operation encountered a dead network."},
    {10051, "A socket operation was attempted to an unreachable network."},
    {10054, "An existing connection was forcibly closed by the remote host."},
    {10055,
     "An operation on a socket could not be performed because the system lacked sufficient buffer space "
     "or because a queue was full."},
    {10060,
     "A connection attempt failed because the connected party did not properly respond after a period of "
     "time, or established connection failed because connected host has failed to respond."},
    {10061, "No connection could be made because the target machine actively refused it."},
    {10065, "A socket operation was attempted to an unreachable host."},
    {10093, "Either the application has not called WSAStartup, or WSAStartup failed."},
    {10108, "No such service is known. The service cannot be found in the specified name space."},
    {10109, "The specified class was not found."},
    {11001, "No such host is known."},
    {11002,
     "This is usually a temporary error during hostname resolution and means that the local server did "
     "not receive a response from an authoritative server."},
    {11003, "A non-recoverable error occurred during a database lookup."},
    {11004, "The requested name is valid, but no data of the requested type was found."},
};

static_assert(std::is_sorted(std::begin(kMessages), std::end(kMessages),
                             [](const Message& a, const Message& b) { return a.code < b.code; }),
              "message table must be ordered by code");

#endif

bool isTrimmedAtEnd(QChar ch) {
    return ch.unicode() <= 0x20 || ch == QLatin1Char('.');
}

} // namespace

QString SystemMessageText(qint64 code) {
#ifdef Q_OS_WIN
    if (code < 0 || code > 0xFFFFFFFFLL)
        return QString();
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(code), 0, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    QString text;
    if (length > 0 && buffer)
        text = QString::fromWCharArray(buffer, static_cast<qsizetype>(length));
    if (buffer)
        LocalFree(buffer);
    return text;
#else
    const auto found = std::lower_bound(std::begin(kMessages), std::end(kMessages), code,
                                        [](const Message& m, qint64 c) { return m.code < c; });
    if (found == std::end(kMessages) || found->code != code)
        return QString();
    return QString::fromLatin1(found->text);
#endif
}

QString TrimMessageEnd(const QString& text) {
    qsizetype end = text.size();
    while (end > 0 && isTrimmedAtEnd(text.at(end - 1)))
        --end;
    return text.left(end);
}

QString QueryStatusDescription(qint64 code) {
    return TrimMessageEnd(SystemMessageText(code));
}

} // namespace kelvane
