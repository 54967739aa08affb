#include "import/evtx/SysmonItemFilter.h"

#include "import/ValueConversions.h"

namespace kelvane::evtx {

void SysmonItemFilter::beginRecord() {
    m_mark = m_out->mark();
    m_current = NameKind::Other;
    m_wantsKey = false;
    m_sysmon = false;
    m_openItems = false;
    m_key.clear();
    m_text.clear();
}

SysmonItemFilter::Outcome SysmonItemFilter::endRecord(bool complete) {
    // Text after the last tag is never delivered, as in the XML reader.
    m_text.clear();
    const Outcome outcome = !complete || (m_sysmon && m_openItems) ? Outcome::Damaged
                            : m_sysmon                             ? Outcome::Kept
                                                                   : Outcome::OtherChannel;
    if (outcome != Outcome::Kept)
        m_out->rollBack(m_mark);
    return outcome;
}

void SysmonItemFilter::startElement(NameKind kind) {
    flush();
    // Channel is watched to tell Sysmon's records from the others'; it is no item.
    m_current = kind == NameKind::EventID || kind == NameKind::Computer || kind == NameKind::Data ||
                        kind == NameKind::Channel
                    ? kind
                    : NameKind::Other;
    m_wantsKey = kind == NameKind::Data;
    if (m_wantsKey)
        m_key.clear();
}

void SysmonItemFilter::repeatElement(NameKind kind) {
    endElement(kind);
    // The repeated start tag sets what the text belongs to again; its first attribute is the same.
    m_current = kind == NameKind::EventData ? NameKind::Other : kind;
}

void SysmonItemFilter::keyDone() {
    if (!m_wantsKey)
        return;
    m_wantsKey = false;
    clearTextInPlace(m_key);
}

void SysmonItemFilter::endElement(NameKind kind) {
    flush();
    if (kind == NameKind::EventData) {
        m_out->add(ChunkEvents::Kind::EndEventData, {});
        m_openItems = false;
    }
}

void SysmonItemFilter::flush() {
    if (m_text.empty())
        return;
    const std::string_view text = trimmed(m_text);
    if (text.empty() || m_current == NameKind::Other) {
        m_text.clear();
        return;
    }
    if (m_current == NameKind::Channel) {
        m_sysmon = text == kSysmonChannel;
        m_text.clear();
        return;
    }
    const std::size_t begin = static_cast<std::size_t>(text.data() - m_text.data());
    m_text.resize(begin + text.size());
    m_text.erase(0, begin);
    clearTextInPlace(m_text);
    if (m_current == NameKind::Data)
        m_openItems = true;
    m_out->add(m_current == NameKind::EventID    ? ChunkEvents::Kind::EventId
               : m_current == NameKind::Computer ? ChunkEvents::Kind::Computer
                                                 : ChunkEvents::Kind::Data,
               m_text, m_key);
    m_text.clear();
}

} // namespace kelvane::evtx
