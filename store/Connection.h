#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace velora {

/// One cell of a result. Its texts stand until the next row.
struct RowData {
    std::string_view column;
    int storageClass;  ///< 1 integer, 3 text, as SQLite numbers them
    int64_t integer;
    std::string_view text;

    /// An integer as a list of one, a text as the integers at its start.
    std::vector<int> values() const;
    /// The first of them; 0 without any.
    int number() const;
};

// What SQLite's result numbers mean to this store.

/// What keeps the database from doing anything more, as opposed to a statement that is wrong.
bool isStorageFailure(int result);
/// The file is no database, or a broken one.
bool isDamage(int result);

/// An open connection to a database file; safe from any thread, as SQLite's full mutex makes it.
class Connection {
public:
    /// Null when the file can't be opened, which is logged; a file that isn't there is made.
    static std::unique_ptr<Connection> open(const std::string& path);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// From now on a transaction is on the disk when it is reported stored. If that can't be had, a
    /// line says so.
    void makeDurable() const;
    const char* lastError() const;
    int lastResult() const;
    bool isInTransaction() const;
    /// SQLite's own number of the row that was inserted last.
    int64_t lastRow() const;

private:
    friend class Statement;
    explicit Connection(sqlite3* handle) : mHandle(handle) {}

    sqlite3* const mHandle;
};

/// A prepared statement; goes before its connection.
class Statement {
public:
    // SQLite's numbers for what isn't a failure.
    static constexpr int kOk = 0;
    static constexpr int kRow = 100;
    static constexpr int kDone = 101;

    Statement(const Connection& connection, const std::string& sql);
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    /// How the preparation went: kOk, or SQLite's number for why it failed.
    int result() const { return mResult; }

    // Arguments are counted from 1. A text must stand until the statement is reset.
    void bind(int index, std::string_view text);
    void bind(int index, int64_t value);
    void bind(std::initializer_list<std::string_view> texts);

    /// kRow, kDone, or SQLite's number for why it failed.
    int step();
    /// The row that the last step came to; `row` is empty or another row of the same run.
    void readRow(std::vector<RowData>& row);
    /// Ready to run again, and holding no lock of its own.
    void reset();

private:
    sqlite3_stmt* mHandle = nullptr;
    int mResult;
};

}  // namespace velora
