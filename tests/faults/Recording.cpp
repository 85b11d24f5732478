#include "tests/faults/Recording.h"

#include "tests/support/TestFiles.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <utility>

namespace velora::test {
namespace {

constexpr size_t kSector = 512;

/// Applies the parts of the change for which `isKept()` is true.
template <typename IsKept>
void apply(const Record& change, std::string& contents, IsKept isKept) {
    if (change.kind == DiskRecord::TRUNCATE) {
        if (isKept()) contents.resize(change.offset);
        return;
    }

    size_t end = 0;
    for (size_t at = 0; at < change.data.size(); at = end) {
        const size_t offset = change.offset + at;
        end = std::min(at + kSector - offset % kSector, change.data.size());
        if (!isKept()) continue;
        contents.resize(std::max(contents.size(), offset + end - at));
        contents.replace(offset, end - at, change.data, at, end - at);
    }
}

}  // namespace

Files readFiles(const std::filesystem::path& directory) {
    Files files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        files[entry.path().filename()] = contentsOf(entry.path());
    }
    return files;
}

void writeFiles(const std::filesystem::path& directory, const Files& files) {
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
    for (const auto& [name, contents] : files) {
        std::ofstream(directory / name, std::ios::binary) << contents;
    }
}

std::vector<Record> readRecording(const std::string& file) {
    const std::string bytes = contentsOf(file);
    std::vector<Record> records;
    for (size_t at = 0; at < bytes.size();) {
        DiskRecord head{};
        memcpy(&head, bytes.data() + at, sizeof head);
        const size_t path = at + sizeof head;
        const size_t data = path + head.pathSize;
        records.push_back({head.kind, head.offset, bytes.substr(path, head.pathSize),
                           bytes.substr(data, head.size)});
        at = data + head.size;
    }
    return records;
}

DiskState::DiskState(const Files& files) {
    for (const auto& [name, contents] : files) {
        mStored[name] = std::make_shared<File>(File{contents});
    }
    mCurrent = mStored;
}

void DiskState::apply(const NameChange& change, Names& names) {
    const auto& [record, created] = change;
    if (record->kind == DiskRecord::CREATE) names[record->path] = created;
    if (record->kind == DiskRecord::RENAME) names[record->data] = names[record->path];
    if (record->kind != DiskRecord::CREATE) names.erase(record->path);
}

void DiskState::take(const Record& record) {
    const auto file = mCurrent.find(record.path);
    switch (record.kind) {
        case DiskRecord::MARK:
            return;
        case DiskRecord::WRITE:
        case DiskRecord::TRUNCATE:
            // An unlinked file has no name.
            if (file != mCurrent.end()) file->second->changes.push_back(&record);
            return;
        case DiskRecord::SYNC:
            if (record.path.empty()) {
                mStored = mCurrent;
                mChanges.clear();
            } else if (file != mCurrent.end()) {
                for (const Record* const change : std::exchange(file->second->changes, {})) {
                    test::apply(*change, file->second->contents, [] { return true; });
                }
            }
            return;
        case DiskRecord::CREATE:
        case DiskRecord::UNLINK:
        case DiskRecord::RENAME:
            mChanges.push_back({&record, std::make_shared<File>()});
            apply(mChanges.back(), mCurrent);
            return;
    }
}

Files DiskState::lose(Unsynchronised bytes, Unsynchronised names, std::minstd_rand& dice) const {
    size_t kept = names == Unsynchronised::KEPT ? mChanges.size() : 0;
    if (names == Unsynchronised::TORN) kept = dice() % (mChanges.size() + 1);
    Names left = mStored;
    for (size_t i = 0; i < kept; ++i) apply(mChanges[i], left);

    const auto isKept = [&] {
        return bytes == Unsynchronised::KEPT || (bytes == Unsynchronised::TORN && dice() % 2 == 0);
    };
    Files files;
    for (const auto& [name, file] : left) {
        std::string& contents = files[name] = file->contents;
        for (const Record* const change : file->changes) test::apply(*change, contents, isKept);
    }
    return files;
}

}  // namespace velora::test
