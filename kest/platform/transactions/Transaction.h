#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kest/platform/transactions/Disk.h"
#include "kest/platform/transactions/Journal.h"
#include "kest/platform/transactions/RemovedNames.h"
#include "kest/platform/transactions/Stage.h"

/// One transaction: what its owner sees, and how that becomes what everybody sees.
///
/// States and what holds in each:
///
///   open        Nothing outside the stage has changed. The view is the disk with m_changes laid
///               over it: a name is removed, or it is staged, that is, it stands in the stage under
///               a slot. Below a staged directory everything is ordinary work on the disk, so a
///               tree costs one change whatever its size. A directory whose entries were all
///               removed and which is removed itself is one change, too.
///   refused     Open, but a question about a place could not be answered, and the reason was not
///               that nothing is there. The caller may have taken it for that and gone on, so from
///               now on every call gets the same error, the commit, too.
///   publishing  The stage stands in a directory that changes, and is durable with all that is in
///               it. One change is one step on the disk; several, or one that the disk cannot make
///               in one step, go through the journal.
///   committed   The disk shows the view, durably. Old entries are in the stage and are destroyed.
///   ended       Rolled back, or committed and done: only the state is left.
///
/// A process that ends in the first three states leaves an orphaned stage, which the next
/// transaction that comes by discards, or finishes if its journal is there (see Stage.h). While a
/// step that has put something old into the stage may still be lost, or a journal may be there, the
/// stage is never destroyed by its owner either, but left as an orphan (m_keepsStage).
///
/// An error means that the disk is as it was and stays so. Only when the disk itself fails more
/// than once in the same commit, so that a change can be neither vouched for nor taken back, the
/// old or the new may be there after an error; whole in any case, once the next transaction has
/// come by.
namespace Tallowmere::platform::transactions {

class Search;

class Transaction {
public:
    explicit Transaction(Disk& disk);
    /// Rolls back what was not committed.
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // Each answers with a Windows error code.
    DWORD attributes(const wchar_t* path, WIN32_FILE_ATTRIBUTE_DATA& data);
    DWORD findFirst(const wchar_t* pattern, WIN32_FIND_DATAW& data, HANDLE& search);
    DWORD findNext(HANDLE handle, Search& search, WIN32_FIND_DATAW& data);
    DWORD createDirectory(const wchar_t* path);
    DWORD copyFile(const wchar_t* source, const wchar_t* destination, DWORD flags);
    DWORD createLink(const wchar_t* path, const wchar_t* target, bool isDirectory);
    DWORD deleteFile(const wchar_t* path);
    DWORD removeDirectory(const wchar_t* path);

    /// ERROR_SUCCESS: the view is what the disk shows, for good. Otherwise the disk is unchanged
    /// and the transaction is rolled back.
    DWORD commit();
    /// Forgets all changes. Harmless after a commit.
    void rollBack();

    std::mutex& mutex() { return m_mutex; }

private:
    friend class Search;

    enum class State { Open, Committed, RolledBack };

    struct Change {
        enum class What {
            Staged,    ///< stands in the stage, in place of an entry on the disk if hadOld
            Emptied,   ///< a mount point: removed in the view, cannot be removed on the disk
            Refilled,  ///< the same, created again
        };
        What what = What::Staged;
        std::wstring name;
        std::wstring slot;
        bool hadOld = false;
    };

    /// What is changed in one directory of the disk.
    struct DirectoryChanges {
        DirectoryPtr directory;
        std::wstring text;
        /// The link through which all of these changes were made, as parent and folded name.
        std::wstring throughLink;
        /// Folded names of entries of the disk that are gone in the view, and nothing in their
        /// place.
        RemovedNames removed;
        /// The one search that gave every removed name just before it was removed, so that it need
        /// not ask for any that it comes to; 0 when there is none.
        std::uint64_t emptier = 0;
        /// By folded name.
        std::unordered_map<std::wstring, Change> others;
        /// How many entries the disk had when a search had listed the directory to its end; -1 when
        /// none has. Stages do not count.
        std::int64_t seen = -1;

        bool publishesNothing() const;
    };

    /// What m_changes has for a directory, or null: asked for once, and good until a directory
    /// comes to m_changes or goes.
    struct Asked {
        std::uint64_t generation = 0;
        DirectoryChanges* changes = nullptr;
    };

    /// A directory as the transaction sees it.
    struct View {
        std::wstring text;       ///< how callers name it, in normal form
        std::wstring spelled;    ///< the same as a caller spelled it last, if that was plain
        std::wstring canonical;  ///< where it really stands (or would stand)
        std::wstring throughLink;
        bool staged = false;
        bool recovered = false;  ///< orphaned stages in it were looked for
        Asked asked;
        DirectoryPtr directory;
    };
    using ViewPtr = std::shared_ptr<View>;

    /// A name in a directory, the directory existing.
    struct Place {
        ViewPtr parent;
        std::wstring name;  ///< empty for a root, which is its own parent
    };

    /// The place that a call is about, whose memory serves the next call. It holds a directory only
    /// while the call lasts.
    class Spot {
    public:
        explicit Spot(Place& place) : m_place(place) {}
        ~Spot() { m_place.parent.reset(); }
        Spot(const Spot&) = delete;
        Spot& operator=(const Spot&) = delete;
        Place& place() const { return m_place; }

    private:
        Place& m_place;
    };

    /// Where an entry stands on the disk. Good as long as the place that it was asked for is
    /// neither changed in the view nor left.
    class Standing {
    public:
        Standing() = default;
        Standing(const DirectoryPtr& directory, const std::wstring& name, bool staged)
            : staged(staged), m_directory(&directory), m_name(&name) {}
        /// Whether it exists in the view. Without that, the two below must not be asked for.
        bool exists() const { return m_directory != nullptr; }
        const DirectoryPtr& directory() const { return *m_directory; }
        const std::wstring& name() const { return *m_name; }
        bool staged = false;

    private:
        const DirectoryPtr* m_directory = nullptr;
        const std::wstring* m_name = nullptr;
    };

    // Finding (TransactionView.cpp).
    DWORD normalize(const wchar_t* path, std::wstring& text);
    DWORD normalizeSpelled(const wchar_t* path, std::wstring& text);
    std::wstring takeGiven(std::wstring_view& path) const;
    bool isBelowStaged(const std::wstring& text) const;
    std::wstring onDisk(const Place& place) const;
    DWORD locate(const wchar_t* path, Place& place);
    bool locateQuickly(std::wstring_view path, Place& place);
    DWORD locateText(const std::wstring& text, Place& place);
    DWORD locateDirectory(const std::wstring& text, ViewPtr& view);
    DWORD openText(const std::wstring& text, ViewPtr& view);
    bool isElsewhere(const std::wstring& text, const std::wstring& canonical) const;
    DWORD openChanged(const std::wstring& text, const std::wstring& canonical, bool& isChanged,
                      ViewPtr& view);
    DWORD stepInto(const ViewPtr& parent, const std::wstring& name, const std::wstring& text,
                   ViewPtr& view);
    ViewPtr cached(std::wstring_view text);
    void makeRoom();
    void remember(const ViewPtr& view);
    void forget(const Place& place);
    DWORD recover(const Place& place);
    DWORD answer(const wchar_t* path, WIN32_FILE_ATTRIBUTE_DATA& data);
    std::wstring foldPath(const std::wstring& canonical) const;
    /// The folded form of a name or path: the text itself where the disk does not fold, else
    /// `scratch`.
    const std::wstring& folded(const std::wstring& text, std::wstring& scratch) const;
    DirectoryChanges* changesOf(const std::wstring& canonical);
    DirectoryChanges* changesOf(const std::wstring& canonical, Asked& asked);
    DirectoryChanges* changesOf(View& view) { return changesOf(view.canonical, view.asked); }
    Change* changeOf(const Place& place);
    bool isRemoved(const Place& place);
    Standing standing(const Place& place);
    const Kind* known(const Place& place) const;
    DWORD kindOf(const Place& place, const Standing& standing, Kind& kind);
    DWORD openInStage(const DirectoryPtr& base, const std::wstring& relative,
                      DirectoryPtr& directory);
    bool isOwnStage(const std::wstring& name) const;

    // Searching (TransactionSearch.cpp).
    DWORD nextRecord(Search& search, Record& record);
    DWORD finishSearch(Search& search);
    DWORD checkApart(const View& view);
    DWORD checkEmpty(const std::wstring& text, const std::wstring& canonical);

    // Changing (TransactionChanges.cpp).
    DirectoryChanges& changesFor(const View& view);
    DWORD stageFor(const View& where);
    DWORD newPlace(const Place& place, bool& hadOld);
    void setStaged(const Place& place, const std::wstring& slot, bool hadOld);
    bool isCalledSo(const Place& place, const Standing& staged);
    DWORD replaceFile(const Place& place, const Standing& source, Links links);
    std::uint64_t giverOf(const Place& place, bool isDirectory) const;
    DWORD remove(const Place& place, const Standing& standing, Kind kind);

    // Publishing (TransactionCommit.cpp).
    using ChangedDirectories = std::vector<DirectoryChanges*>;
    DWORD publish();
    DWORD changedDirectories(ChangedDirectories& directories);
    DWORD settleStage(ChangedDirectories& directories);
    std::vector<JournalEntry> entriesOf(const ChangedDirectories& directories);
    DWORD meetRivals(const ChangedDirectories& directories,
                     const std::vector<JournalEntry>& entries);
    DWORD checkSeen(const ChangedDirectories& directories,
                    const std::vector<JournalEntry>& entries);
    DWORD publishOne(const JournalEntry& entry, const DirectoryPtr& directory, bool& isDone);
    DWORD publishAll(const ChangedDirectories& directories,
                     const std::vector<JournalEntry>& entries);
    void end(State state);
    DWORD checkOpen() const;

    Disk& m_disk;
    /// Whether the disk takes names that differ in letter case for the same.
    const bool m_foldsCase;
    std::mutex m_mutex;
    State m_state = State::Open;
    /// The error of a question that could not be answered.
    DWORD m_refusal = ERROR_SUCCESS;
    std::unique_ptr<Stage> m_stage;
    /// The directory in which the stage stands, as a key of m_changes.
    std::wstring m_stageWhere;
    /// Whether the stage has to be left for the next who comes by.
    bool m_keepsStage = false;
    /// By folded canonical text.
    std::map<std::wstring, DirectoryChanges> m_changes;
    /// Counts the directories that came to m_changes or went.
    std::uint64_t m_generation = 1;
    /// For the path of a call, so that it needs no memory of its own.
    std::wstring m_text;
    Place m_source;
    Place m_target;
    /// Least recently used last.
    std::list<ViewPtr> m_views;
    /// Views of staged directories that a change stands for: they cannot be found on the disk by
    /// their text, so they are kept.
    std::vector<ViewPtr> m_pinned;
    /// A directory by whose mount nothing is reached that this transaction changes.
    DirectoryPtr m_apart;
    /// Searches not yet read to their end.
    std::map<HANDLE, std::unique_ptr<Search>> m_searches;
    /// The directory that the last call created, empty when the last call was another one.
    std::wstring m_justCreated;
    /// The entry that a search gave last, whose kind is therefore known.
    std::weak_ptr<View> m_lastDirectory;
    std::wstring m_lastName;
    Kind m_lastKind = Kind::File;
    /// The path that the last call asked for, when nothing was there and nothing is changed yet.
    std::wstring m_absent;
    /// Whether that was a directory, and the last call.
    bool m_gaveDirectory = false;
    std::uint64_t m_lastSearch = 0;
    std::uint64_t m_searchCount = 0;
    /// Whether a search has given a name that the disk would misread in a path.
    bool m_hasMisread = false;
    /// The directory that is known to be one and no link, because a search gave it as one last or
    /// it is being removed as one: its text, and where it stands. It is entered as that or not at
    /// all, whatever a rival has put in its place since.
    std::wstring m_enteredText;
    std::wstring m_enteredCanonical;
    /// The directory that a search has just read to its end, and how many entries the disk has
    /// there; -1 when some of them are hidden.
    std::wstring m_listedDirectory;
    std::int64_t m_listedCount = -1;
    std::int64_t m_listedSeen = -1;
    /// What the search told that has just ended, while it can serve the directory's removal.
    bool m_isListedKnown = false;
    std::uint64_t m_listedNumber = 0;
    std::string m_listedEntries;
    /// The same of the directories that are to go with all that is in them.
    ListedBefore m_toGo;
};

/// A search in a directory of a transaction's view. It keeps no directory open: a walk has as many
/// searches under way as its tree is deep.
class Search {
public:
    explicit Search(Transaction& transaction)
        : transaction(transaction), m_number(++transaction.m_searchCount) {}
    Transaction& transaction;

private:
    friend class Transaction;
    const std::uint64_t m_number;
    std::weak_ptr<Transaction::View> m_view;
    std::wstring m_text;
    std::wstring m_canonical;
    bool m_staged = false;
    Transaction::Asked m_asked;
    std::unique_ptr<Listing> m_listing;
    Record m_record;
    int m_dots = 0;
    /// Folded names staged in the directory that were not given yet.
    std::unordered_set<std::wstring> m_staging;
    std::int64_t m_listed = 0;
    std::int64_t m_seen = 0;
    bool m_hides = false;
    /// The directory that takes over what the system keeps about this one when the search ends.
    std::wstring m_adopter;
};

}  // namespace Tallowmere::platform::transactions
