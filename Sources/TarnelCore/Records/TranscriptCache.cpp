#include "TarnelCore/Records/TranscriptCache.h"
#include "TarnelCore/Records/GrokReader.h"
#include "TarnelCore/Records/RecordHistory.h"
#include <atomic>

namespace tarnel {

namespace {

/// A transcript that goes on in place while nobody looks at it.
struct Told {
    Told() = default;
    explicit Told(const Transcript& last)
        : transcript(last)
    {
    }
    [[nodiscard]] bool isLent() const { return loans.load(std::memory_order_acquire) > 0; }

    Transcript transcript;
    std::atomic<int> loans = 0;
};

/// Somebody looks at a transcript.
struct Loan {
    explicit Loan(std::shared_ptr<Told> lent)
        : told(std::move(lent))
    {
        ++told->loans;
    }
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    ~Loan() { told->loans.fetch_sub(1, std::memory_order_release); }

    const std::shared_ptr<Told> told;
};

} // namespace

struct TranscriptCache::Entry {
    Entry(const RecordPlace& place, const std::string& home, const RecordWindows::Sizes& sizes)
        : path(place.kind == RecordPlace::Kind::grok ? place.path + std::string(GrokReader::historyFile) : place.path)
        , summaryPath(
              place.kind == RecordPlace::Kind::grok ? place.path + std::string(GrokReader::summaryFile) : std::string())
        , history(place.kind, home, sizes)
    {
    }

    /// Brings the transcript up to date.
    void refresh()
    {
        const bool isHistoryNew = refreshHistory();
        const bool isSummaryNew = refreshSummary();
        if (isTold && !isHistoryNew && !isSummaryNew)
            return;
        isTold = false;
        if (!told || told->isLent()) {
            told = told ? std::make_shared<Told>(told->transcript) : std::make_shared<Told>();
            lastLoan.reset();
        }
        history.tell(told->transcript);
        summary.apply(told->transcript);
        isTold = true;
    }

    /// The transcript, to be read until the last copy of this has gone.
    std::shared_ptr<const Transcript> lend()
    {
        auto loan = lastLoan.lock();
        if (!loan) {
            loan = std::make_shared<Loan>(told);
            lastLoan = loan;
        }
        return {loan, &told->transcript};
    }

    bool refreshHistory()
    {
        const auto now = Files::stamp(path);
        if (now && now == history.stamp())
            return false;
        if (const auto file = now ? RecordFile::open(path) : std::nullopt)
            history.update(*file);
        else
            history.clear();
        return true;
    }

    bool refreshSummary()
    {
        const auto now = summaryPath.empty() ? std::nullopt : Files::stamp(summaryPath);
        if (now == summaryStamp)
            return false;
        summary = GrokReader::readSummary(summaryPath);
        summaryStamp = now;
        return true;
    }

    bool isTaken = false; // guarded by the cache's mutex; all else belongs to whoever has taken the entry
    const std::string path;
    const std::string summaryPath; // empty: the record has no such file
    RecordHistory history;
    GrokReader::Summary summary;
    std::optional<Files::Stamp> summaryStamp; // absent: not read, or not there
    std::shared_ptr<Told> told;
    bool isTold = false; // `told` says what was read last
    std::weak_ptr<Loan> lastLoan;
};

TranscriptCache::TranscriptCache(std::string home, const RecordWindows::Sizes& sizes)
    : home(std::move(home))
    , sizes(sizes)
{
}

TranscriptCache::~TranscriptCache() = default;

std::shared_ptr<const Transcript> TranscriptCache::transcript(const RecordPlace& place)
{
    struct Turn {
        TranscriptCache& cache;
        std::shared_ptr<Entry> entry;
        ~Turn() { cache.giveBack(*entry); }
    };
    const Turn turn{*this, take(place)};
    turn.entry->refresh();
    return turn.entry->lend();
}

std::shared_ptr<TranscriptCache::Entry> TranscriptCache::take(const RecordPlace& place)
{
    MutexLock lock(mutex);
    std::shared_ptr<Entry>& known = entries[place];
    if (!known)
        known = std::make_shared<Entry>(place, home, sizes);
    std::shared_ptr<Entry> entry = known; // it may be forgotten meanwhile
    while (entry->isTaken)
        givenBack.wait(mutex);
    entry->isTaken = true;
    return entry;
}

void TranscriptCache::giveBack(Entry& entry)
{
    MutexLock lock(mutex);
    entry.isTaken = false;
    givenBack.notifyAll();
}

void TranscriptCache::retain(const std::set<RecordPlace>& places)
{
    Entries forgotten; // destroyed without the lock
    MutexLock lock(mutex);
    for (auto entry = entries.begin(); entry != entries.end();) {
        const auto next = std::next(entry);
        if (!places.contains(entry->first))
            forgotten.insert(entries.extract(entry));
        entry = next;
    }
}

} // namespace tarnel
