#pragma once

#include "store/DatabaseHelper.h"

#include <cstddef>

namespace velora {

/// A write transaction of a `Provider` or a `DatabaseHelper`: everything that is written during its
/// life is stored by `commit`, or nothing of it. Without a commit, it is rolled back at the end of
/// its life. Inside another transaction, it is a part of that one: a failure fails both.
template <typename Store>
class [[nodiscard]] Transaction {
public:
    /// The store must outlive the transaction.
    explicit Transaction(Store& store) : mStore(store) { mStore.beginTransaction(); }
    ~Transaction() {
        if (mCommitted) return;
        mStore.abortTransaction();
        (void)mStore.commitTransaction();  // ends it, and fails
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// True if everything is stored, or will be by the transaction around this one. Called once, at
    /// the end.
    [[nodiscard]] bool commit() {
        mCommitted = true;
        return mStore.commitTransaction();
    }

private:
    Store& mStore;
    bool mCommitted = false;
};

/// Queries that belong together: during its life they see one state of the file, and lock it only
/// once.
class [[nodiscard]] ReadSession {
public:
    /// The database must outlive the session.
    explicit ReadSession(DatabaseHelper& database)
        : mDatabase(database),
          mBegun(database.beginReading()),
          mFailedBefore(database.failedReads()) {}
    ~ReadSession() { (void)mDatabase.commitTransaction(); }  // nothing was written
    ReadSession(const ReadSession&) = delete;
    ReadSession& operator=(const ReadSession&) = delete;

    /// No query has failed since the beginning. Otherwise a value may exist that was not read, and
    /// nothing should be concluded from its absence.
    [[nodiscard]] bool ok() const { return mBegun && mDatabase.failedReads() == mFailedBefore; }

private:
    DatabaseHelper& mDatabase;
    const bool mBegun;
    const size_t mFailedBefore;
};

}  // namespace velora
