// The summary text of an event, stored as EventDetails in AllEvents and shown in the session diagram's boxes.
#include "import/TEventMapper.h"

namespace kelvane {
namespace {

constexpr const char* kNL = "\r\n";

void appendBlock(std::string& out, std::string_view label, std::string_view value) {
    out += label;
    out += kNL;
    out += "  ";
    out += value;
    out += "  ";
    out += kNL;
}

void appendInline(std::string& out, std::string_view label, std::string_view value) {
    out += label;
    out += "  ";
    out += value;
    out += "  ";
    out += kNL;
}

} // namespace

std::string TEventMapper::eventDetails(const DateTime& utcTime, std::string_view description) const {
    std::string out;
    out.reserve(256);
    out += "  ";
    out += m_state->FEventNameUnderParsing;
    out += "  ";
    out += kNL;
    out += "  Time :  ";
    out += kNL;
    out += "  ";
    out += m_dateText.text(utcTime);
    out += "  ";
    out += kNL;
    switch (m_state->FEventIDUnderParsing) {
    case 1:
        appendBlock(out, "  Parent Image :  ", ReadBaseName("ParentImage"));
        break;
    case 2:
        appendBlock(out, "  Target File :  ", ReadBaseName("TargetFilename"));
        break;
    case 3: {
        std::string source(ReadBaseName("SourceIp"));
        source += ':';
        source += ReadBaseName("SourcePort");
        appendBlock(out, "  Source IP :  ", source);
        std::string destination(ReadBaseName("DestinationIp"));
        destination += ':';
        destination += ReadBaseName("DestinationPort");
        appendBlock(out, "  Destination IP :  ", destination);
        break;
    }
    case 6:
        appendBlock(out, "  Image Loaded :  ", ReadText("ImageLoaded"));
        break;
    case 7:
        appendBlock(out, "  Loaded Image :  ", ReadBaseName("ImageLoaded"));
        break;
    case 8:
    case 10:
        appendBlock(out, "  Source Image :  ", ReadBaseName("SourceImage"));
        appendBlock(out, "  Target Image :  ", ReadBaseName("TargetImage"));
        break;
    case 9:
        appendBlock(out, "  Device :  ", ReadText("Device"));
        break;
    case 11:
        appendBlock(out, "  Target File :  ", ReadText("TargetFilename"));
        break;
    case 12:
    case 13:
        appendBlock(out, "  Target Object :  ", ReadText("TargetObject"));
        break;
    case 14:
        appendBlock(out, "  Target Object :  ", ReadText("TargetObject"));
        // The server import's summary keeps the new name on the label's line.
        if (fromServer())
            appendInline(out, "  New Name :  ", ReadText("NewName"));
        else
            appendBlock(out, "  New Name :  ", ReadText("NewName"));
        break;
    case 15:
        appendBlock(out, "  Target File Name :  ", ReadText("TargetFilename"));
        break;
    case 17:
    case 18:
        appendBlock(out, "  Pipe Name :  ", ReadText("PipeName"));
        break;
    case 19:
        appendBlock(out, "  Operation :  ", ReadText("Operation"));
        appendBlock(out, "  Name :  ", ReadText("User"));
        appendBlock(out, "  EventNamespace :  ", ReadText("EventNamespace"));
        appendBlock(out, "  Name :  ", ReadText("Name"));
        appendInline(out, "  Query :  ", ReadText("Query"));
        break;
    case 20:
        appendBlock(out, "  Operation :  ", ReadText("Operation"));
        appendBlock(out, "  User :  ", ReadText("User"));
        appendBlock(out, "  Name :  ", ReadText("Name"));
        appendInline(out, "  Type :  ", ReadText("Type"));
        appendInline(out, "  Destination :  ", ReadText("Destination"));
        break;
    case 21:
        appendBlock(out, "  Operation :  ", ReadText("Operation"));
        appendBlock(out, "  User :  ", ReadText("User"));
        appendBlock(out, "  Consumer :  ", ReadText("Consumer"));
        appendInline(out, "  Filter :  ", ReadText("Filter"));
        break;
    case 22:
        appendBlock(out, "  Image :  ", ReadBaseName("Image"));
        appendBlock(out, "  DNS Query :  ", ReadText("QueryName"));
        out += "  Query Status :  ";
        out += kNL;
        out += "  ";
        out += description;
        out += " (Code:";
        out += ReadText("QueryStatus");
        out += ")  ";
        out += kNL;
        break;
    case 23:
    case 26:
    case 27:
    case 28:
    case 29:
        appendBlock(out, "  Target File :  ", ReadText("TargetFilename"));
        break;
    case 24:
        appendBlock(out, "  Client :  ", ReadText("ClientInfo"));
        break;
    case 25:
        appendBlock(out, "  Type :  ", ReadText("Type"));
        break;
    case 4:
        appendBlock(out, "  State :  ", ReadText("State"));
        break;
    case 16:
        appendBlock(out, "  Configuration :  ", ReadText("Configuration"));
        break;
    case 255:
        appendBlock(out, "  Description :  ", ReadText("Description"));
        break;
    default:
        break;
    }
    return out;
}

} // namespace kelvane
