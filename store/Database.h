#pragma once

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

/// One cell of a result. Its text remains valid until the next row is read.
struct RowData {
    std::string_view column;
    static constexpr int kInteger = 1;

    int storageClass;  ///< `kInteger`, or 3 for a text, as SQLite numbers them
    int64_t integer;
    std::string_view text;

    /// An integer as a list of one; a text as the integers at its start, which commas may separate.
    std::vector<int> values() const;
    /// The first of these values; 0 if there is none.
    int number() const;
    /// The number in a TEXT cell that is written as `std::to_string` writes it. None for any other
    /// text, such as "1x" or "01", and for any other type of cell.
    std::optional<int> plainNumber() const;
};

/// One SQLite file: opens and checks it, renames it when it is damaged, prepares and runs
/// statements, and keeps transactions whole. It knows nothing of records.
///
/// Owned by the database helper and used under its callers' lock, by one thread at a time. Owns the
/// connection and the prepared statements. Nothing throws: a failure is logged and returned. If the
/// file can't be opened or read, there is no connection, and every statement fails.
class Database {
public:
    /// The texts for the question marks of a statement, in order.
    using Arguments = std::vector<std::string_view>;
    using RowVisitor = std::function<void(std::span<const RowData> row)>;
    enum class Access { READ, WRITE };

    /// Opens the file at this path, or creates it, and reads every page of it.
    explicit Database(std::string path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    bool isOpen() const { return mConnection != nullptr; }
    /// The file had no table when it was opened.
    bool isEmpty() const { return mEmpty; }
    /// The file is no database, or a damaged one: what it contains can't be trusted.
    bool isDamaged() const { return mDamaged; }
    /// Renames a damaged file and its journal, appending ".damaged" to their names and replacing
    /// earlier ones, and starts an empty file. If the file can't be renamed, it remains damaged.
    void replaceDamaged();

    /// Transactions nest: only the outermost begin and commit reach the file. For WRITE, the file
    /// is locked at once; for READ, by the first read. Only the outermost access counts. Returns
    /// false if the transaction has failed already; it must be ended by `commit` even then.
    [[nodiscard]] bool begin(Access access);
    /// True if no write has failed since `begin`; at the end of the outermost transaction, if all
    /// of it is stored. Otherwise nothing of it is stored.
    [[nodiscard]] bool commit();
    /// Marks the current transaction, with everything around it, as failed. The outermost `commit`
    /// rolls it back.
    void abort();
    bool isInTransaction() const { return mDepth > 0; }
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
    class Statement;
    struct CloseConnection {
        void operator()(sqlite3* connection) const;
    };
    using Connection = std::unique_ptr<sqlite3, CloseConnection>;
    enum class State { NONE, OPEN, FAILED };  ///< of the transaction

    static Connection connect(const std::string& path);
    void open();
    void close();
    void makeDurable() const;
    Statement* prepare(const std::string& sql, int* result);
    bool runWrite(Statement& statement, const std::string& sql);
    void handleFailure(int result);

    const std::string mPath;
    Connection mConnection;                                         ///< null if it isn't open
    std::map<std::string, std::unique_ptr<Statement>> mStatements;  ///< prepared, by their SQL
    State mState = State::NONE;
    int mDepth = 0;  ///< of nested transactions
    size_t mFailedReads = 0;
    bool mEmpty = false;
    bool mDamaged = false;
};

}  // namespace velora
