#include "detect/PatternSet.h"

#include <hs/hs.h>
#include <re2/re2.h>
#include <re2/set.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace kelvane::detect {
namespace {

std::string withFlags(const Pattern& pattern) {
    std::string flags;
    if (pattern.caseless)
        flags += 'i';
    if (pattern.multiLine)
        flags += 'm';
    if (pattern.dotAll)
        flags += 's';
    return flags.empty() ? pattern.regex : "(?" + flags + ")" + pattern.regex;
}

RE2::Options re2Options() {
    RE2::Options options;
    options.set_log_errors(false);
    // The set's DFA holds states for thousands of patterns; with too little memory it would give up.
    options.set_max_mem(int64_t(96) << 20);
    return options;
}

class Re2PatternSet : public PatternSet {
public:
    explicit Re2PatternSet(const std::vector<Pattern>& patterns)
        : m_set(re2Options(), RE2::UNANCHORED), m_patterns(patterns) {
        for (const Pattern& pattern : patterns) {
            std::string error;
            if (m_set.Add(withFlags(pattern), &error) < 0)
                throw std::runtime_error("RE2 refused '" + pattern.regex + "': " + error);
        }
        if (!m_set.Compile())
            throw std::runtime_error("RE2 could not compile a set of " + std::to_string(patterns.size()) +
                                     " patterns");
    }
    void match(std::string_view text, std::vector<int>& hits) override {
        m_found.clear();
        RE2::Set::ErrorInfo error{};
        if (m_set.Match(re2::StringPiece(text.data(), text.size()), &m_found, &error)) {
            hits.insert(hits.end(), m_found.begin(), m_found.end());
            return;
        }
        if (error.kind == RE2::Set::kNoError)
            return;
        // The DFA ran out of memory on this text: answer pattern by pattern, still in linear time.
        if (m_single.empty())
            for (const Pattern& pattern : m_patterns)
                m_single.push_back(std::make_unique<RE2>(withFlags(pattern), re2Options()));
        for (std::size_t i = 0; i < m_single.size(); ++i)
            if (RE2::PartialMatch(re2::StringPiece(text.data(), text.size()), *m_single[i]))
                hits.push_back(static_cast<int>(i));
    }

private:
    RE2::Set m_set;
    std::vector<Pattern> m_patterns;
    std::vector<std::unique_ptr<RE2>> m_single;
    std::vector<int> m_found;
};

struct HsDatabaseDeleter {
    void operator()(hs_database_t* db) const { hs_free_database(db); }
};
struct HsScratchDeleter {
    void operator()(hs_scratch_t* scratch) const { hs_free_scratch(scratch); }
};

// Where compiled Vectorscan databases are kept between runs: compiling the whole rule set takes seconds,
// loading it milliseconds. Keyed by a hash of the patterns and the library's version.
QString cachePath(const std::vector<Pattern>& patterns) {
    // Shared by the program and the command-line tools.
    const QString generic = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (generic.isEmpty())
        return {};
    const QString folder = QDir(generic).filePath("kelvane");
    std::uint64_t hash = 1469598103934665603ull;
    auto mix = [&](std::string_view bytes) {
        for (const char c : bytes)
            hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
        hash = (hash ^ 0xFF) * 1099511628211ull;
    };
    mix(hs_version());
    for (const Pattern& p : patterns) {
        mix(p.regex);
        mix(std::string{char('0' + p.caseless), char('0' + p.multiLine), char('0' + p.dotAll)});
    }
    return QDir(folder).filePath(
        QString("vectorscan/%1-%2.db").arg(hash, 16, 16, QChar('0')).arg(patterns.size()));
}

// Vectorscan for every pattern it takes; the few it refuses (empty matches, constructs it lacks) go to an
// RE2 set beside it.
class HsPatternSet : public PatternSet {
public:
    explicit HsPatternSet(const std::vector<Pattern>& patterns) {
        const QString cache = cachePath(patterns);
        std::vector<int> refused;
        if (!load(cache, refused)) {
            refused = compile(patterns);
            save(cache, refused);
        }
        if (m_db) {
            hs_scratch_t* scratch = nullptr;
            if (hs_alloc_scratch(m_db.get(), &scratch) != HS_SUCCESS)
                throw std::runtime_error("Vectorscan could not allocate its scratch space");
            m_scratch.reset(scratch);
        }
        if (!refused.empty()) {
            std::vector<Pattern> rest;
            for (int id : refused)
                rest.push_back(patterns.at(id));
            m_rest = std::make_unique<Re2PatternSet>(rest);
            m_restIds = refused;
        }
    }
    void match(std::string_view text, std::vector<int>& hits) override {
        if (m_db)
            hs_scan(
                m_db.get(), text.data(), static_cast<unsigned>(text.size()), 0, m_scratch.get(),
                [](unsigned id, unsigned long long, unsigned long long, unsigned, void* context) {
                    static_cast<std::vector<int>*>(context)->push_back(static_cast<int>(id));
                    return 0;
                },
                &hits);
        if (m_rest) {
            m_restHits.clear();
            m_rest->match(text, m_restHits);
            for (int i : m_restHits)
                hits.push_back(m_restIds[i]);
        }
    }

private:
    // Compiles what Vectorscan takes; returns the indexes of the patterns it refused.
    std::vector<int> compile(const std::vector<Pattern>& patterns) {
        std::vector<int> ids(patterns.size());
        for (std::size_t i = 0; i < patterns.size(); ++i)
            ids[i] = static_cast<int>(i);
        std::vector<int> refused;
        while (!ids.empty()) {
            std::vector<const char*> expressions;
            std::vector<unsigned> flags;
            for (int id : ids) {
                const Pattern& p = patterns[id];
                expressions.push_back(p.regex.c_str());
                flags.push_back(HS_FLAG_SINGLEMATCH | (p.caseless ? HS_FLAG_CASELESS : 0u) |
                                (p.multiLine ? HS_FLAG_MULTILINE : 0u) | (p.dotAll ? HS_FLAG_DOTALL : 0u));
            }
            hs_database_t* db = nullptr;
            hs_compile_error_t* error = nullptr;
            if (hs_compile_multi(
                    expressions.data(), flags.data(), reinterpret_cast<const unsigned*>(ids.data()),
                    static_cast<unsigned>(ids.size()), HS_MODE_BLOCK, nullptr, &db, &error) == HS_SUCCESS) {
                m_db.reset(db);
                break;
            }
            const int bad = error->expression;
            hs_free_compile_error(error);
            if (bad < 0) { // not one pattern's fault: leave them all to RE2
                refused.insert(refused.end(), ids.begin(), ids.end());
                break;
            }
            refused.push_back(ids[bad]);
            ids.erase(ids.begin() + bad);
        }
        return refused;
    }

    // The file holds the refused indexes (a count, then the numbers), then the serialized database.
    bool load(const QString& path, std::vector<int>& refused) {
        QFile file(path);
        if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
            return false;
        const QByteArray bytes = file.readAll();
        std::uint32_t count = 0;
        if (bytes.size() < 4)
            return false;
        std::memcpy(&count, bytes.data(), 4);
        const qsizetype header = 4 + qsizetype(count) * 4;
        if (bytes.size() < header)
            return false;
        refused.resize(count);
        std::memcpy(refused.data(), bytes.data() + 4, std::size_t(count) * 4);
        if (bytes.size() == header)
            return true; // every pattern was refused
        hs_database_t* db = nullptr;
        if (hs_deserialize_database(bytes.data() + header, std::size_t(bytes.size() - header), &db) !=
            HS_SUCCESS)
            return false;
        m_db.reset(db);
        return true;
    }
    void save(const QString& path, const std::vector<int>& refused) const {
        if (path.isEmpty() || !QDir().mkpath(QFileInfo(path).absolutePath()))
            return;
        QByteArray bytes;
        const std::uint32_t count = static_cast<std::uint32_t>(refused.size());
        bytes.append(reinterpret_cast<const char*>(&count), 4);
        bytes.append(reinterpret_cast<const char*>(refused.data()), qsizetype(count) * 4);
        if (m_db) {
            char* serialized = nullptr;
            std::size_t length = 0;
            if (hs_serialize_database(m_db.get(), &serialized, &length) != HS_SUCCESS)
                return;
            bytes.append(serialized, qsizetype(length));
            std::free(serialized);
        }
        // A cache that cannot be written only costs the next run its compile time.
        QSaveFile file(path);
        if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size())
            file.commit();
    }

    std::unique_ptr<hs_database_t, HsDatabaseDeleter> m_db;
    std::unique_ptr<hs_scratch_t, HsScratchDeleter> m_scratch;
    std::unique_ptr<Re2PatternSet> m_rest;
    std::vector<int> m_restIds;
    std::vector<int> m_restHits;
};

} // namespace

std::unique_ptr<PatternSet> makePatternSet(MatcherBackend backend, const std::vector<Pattern>& patterns) {
    if (backend == MatcherBackend::Vectorscan)
        return std::make_unique<HsPatternSet>(patterns);
    return std::make_unique<Re2PatternSet>(patterns);
}

std::string checkPattern(const Pattern& pattern) {
    RE2 re(withFlags(pattern), re2Options());
    return re.ok() ? std::string() : re.error();
}

const char* backendName(MatcherBackend backend) {
    return backend == MatcherBackend::Vectorscan ? "Vectorscan" : "RE2::Set";
}

} // namespace kelvane::detect
