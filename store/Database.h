#pragma once

#include "store/RowData.h"
#include "store/StoreFile.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace velora {

class Statement;

/// One SQLite file: opens and checks it, sets it aside when it is damaged, prepares and runs
/// statements, and keeps transactions whole. It knows nothing of records.
///
/// The file is in WAL mode: a commit appends to a log beside it, and `checkpoint` copies the log
/// into the file. A commit that succeeded survives a loss of power. While the file is open, other
/// processes may read it, also during a transaction.
///
/// Owned by the database helper, or the salvage, and used by one thread at a time. Owns the
/// connection and the prepared statements. Nothing throws: a failure is logged and returned. If the
/// file can't be opened or read, there is no connection, and every statement fails.
class Database {
public:
    /// The texts for the question marks of a statement, in order.
    using Arguments = std::vector<std::string_view>;
    using RowVisitor = std::function<void(std::span<const RowData> row)>;
    enum class Access { READ, WRITE };

    /// Opens the file at this path, or creates it, and checks every page of it. If it isn't found
    /// intact, it is closed, opened and checked again, because a read may have failed.
    explicit Database(const std::string& path) : Database(path, Check::PAGES) {}
    /// NONE is for reading what can still be read of a damaged file.
    enum class Check { PAGES, NONE };
    Database(const std::string& path, Check check);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    const std::string& path() const { return mFile.path(); }
    bool isOpen() const { return mConnection != nullptr; }
    /// Number of connections so far: another one may be to another file.
    int connections() const { return mConnections; }
    /// The file had no table when it was opened.
    bool isEmpty() const { return mEmpty; }
    /// The file is no database, or a damaged one: every byte of it can be read, but what it
    /// contains can't be trusted. A file of which something can't be read is not damaged.
    bool isDamaged() const { return mDamaged; }
    /// Sets the file aside with its log, whatever it contains, and starts an empty one; see
    /// `StoreFile`. Returns the new path; none if the file can't be renamed, which is logged: it is
    /// closed then.
    [[nodiscard]] std::optional<std::string> setAside();

    /// Makes the next commit cheaper, by a commit that changes nothing: the first commit after the
    /// file was opened also creates the log, and has three syncs instead of one or two. To be
    /// called where nobody waits.
    void primeLog();
    /// Copies the log into the file if it has become long. Nothing depends on its success. To be
    /// called where nobody waits, outside of transactions.
    void checkpoint();

    /// Transactions nest: only the outermost begin and commit reach the file. For WRITE, the file
    /// is locked at once; for READ, by the first read. Only the outermost access counts. If the
    /// storage has failed since the file was opened, or the file could only be opened for reading,
    /// an outermost WRITE first closes it and opens it again. Returns false if the transaction has
    /// failed already; it must be ended by `commit` even then.
    [[nodiscard]] bool begin(Access access);
    /// True if no write has failed since `begin`; at the end of the outermost transaction, if all
    /// of it is stored. Otherwise nothing of it is stored.
    [[nodiscard]] bool commit();
    /// Marks the current transaction, with everything around it, as failed. The outermost `commit`
    /// rolls it back.
    void abort();
    bool isInTransaction() const { return mDepth > 0; }
    int depth() const { return mDepth; }  ///< of nested transactions
    /// In a transaction that has not failed, so that nobody else can change the file.
    bool isTransactionOpen() const { return mState == State::OPEN; }

    /// Runs one statement, once. Unlike `write`, a statement that SQLite rejects does not fail the
    /// transaction: creating a table that exists is no reason to lose the rest.
    [[nodiscard]] bool execute(const std::string& sql);
    /// Runs a statement that is kept prepared. If it fails, so does the transaction.
    [[nodiscard]] bool write(const std::string& sql, const Arguments& arguments);
    /// Passes every row of a query's result to `visit`, which must not change the database. False
    /// if not all of them could be read.
    [[nodiscard]] bool read(const std::string& sql, const Arguments& arguments,
                            const RowVisitor& visit);
    /// None if the table can't be read.
    std::optional<int64_t> countRows(std::string_view table);
    /// Rowid of the row that was inserted last. The file must be open.
    int64_t lastRowid() const;

    /// Number of failed queries. After one, a value may exist that we could not read.
    size_t failedReads() const { return mFailedReads; }

private:
    struct CloseConnection {
        void operator()(sqlite3* connection) const;
    };
    using Connection = std::unique_ptr<sqlite3, CloseConnection>;
    enum class State { NONE, OPEN, FAILED };  ///< of the transaction

    void open();
    void close();
    int connect(std::string* problem);
    int checkPages(std::string* problem);
    int checkLength(std::string* problem);
    int readCell(const std::string& sql, std::string* text);
    void setUp();
    bool hasMoved() const;
    bool hasLostLog() const;
    Statement* prepare(const std::string& sql, int* result);
    [[nodiscard]] bool runWrite(Statement& statement, const std::string& sql);
    void handleFailure(int result);

    const StoreFile mFile;
    Connection mConnection;                                         ///< null if it isn't open
    std::map<std::string, std::unique_ptr<Statement>> mStatements;  ///< prepared, by their SQL
    State mState = State::NONE;
    int mConnections = 0;
    int mDepth = 0;  ///< of nested transactions
    size_t mFailedReads = 0;
    uint64_t mLogNumber = 0;  ///< of the log that the connection uses; 0 if it isn't known
    int mLogPages = 0;        ///< pages in the log after the last commit
    bool mEmpty = false;
    bool mDamaged = false;
    bool mMustReopen = false;  ///< before the next transaction that writes
};

}  // namespace velora
