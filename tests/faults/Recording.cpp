#include "tests/faults/Recording.h"

#include "tests/support/TestFiles.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>

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

/// True if its file is synchronised by one of the later records.
bool isSynchronised(const Record& change, std::span<const Record> later) {
    const auto next = std::find_if(later.begin(), later.end(), [&](const Record& record) {
        const bool isEnd = record.kind == DiskRecord::SYNC || record.kind == DiskRecord::UNLINK;
        return isEnd && record.path == change.path;
    });
    return next != later.end() && next->kind == DiskRecord::SYNC;
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

Records readRecording(const std::string& file) {
    const std::string bytes = contentsOf(file);
    Records records;
    for (size_t at = 0; at + sizeof(DiskRecord) <= bytes.size();) {
        DiskRecord head{};
        memcpy(&head, bytes.data() + at, sizeof head);
        const size_t path = at + sizeof head;
        const size_t data = path + head.pathSize;
        // The process may have ended while another of its threads was writing.
        if (data + head.size > bytes.size()) break;
        records.push_back({head.kind, head.offset, bytes.substr(path, head.pathSize),
                           bytes.substr(data, head.size)});
        at = data + head.size;
    }
    return records;
}

Files afterPowerLoss(const Files& before, std::span<const Record> records, Unsynchronised bytes,
                     bool keepsNames, std::minstd_rand& dice) {
    const auto lastSync = std::find_if(records.rbegin(), records.rend(), [](const Record& record) {
        return record.kind == DiskRecord::SYNC && record.path.empty();
    });
    const auto keptNames = keepsNames ? records.end() : lastSync.base();

    Files files = before;
    std::set<std::string> lost;  // names that belong to another file than when the power fails
    for (auto record = records.begin(); record != records.end(); ++record) {
        const bool isUnlink = record->kind == DiskRecord::UNLINK;
        if (isUnlink || record->kind == DiskRecord::CREATE) {
            if (record >= keptNames) {
                lost.insert(record->path);
            } else if (isUnlink) {
                files.erase(record->path);
            } else {
                files[record->path] = "";
            }
        }

        const bool isChange =
            record->kind == DiskRecord::WRITE || record->kind == DiskRecord::TRUNCATE;
        if (!isChange || !files.contains(record->path) || lost.contains(record->path)) continue;
        const bool isSafe = isSynchronised(*record, {record, records.end()});
        apply(*record, files[record->path], [&] {
            return isSafe || bytes == Unsynchronised::KEPT ||
                   (bytes == Unsynchronised::TORN && dice() % 2 == 0);
        });
    }
    return files;
}

}  // namespace velora::test
