// SPDX-License-Identifier: Apache-2.0
#include "support/crash_vfs.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <vector>

namespace crash_vfs {
namespace {

constexpr size_t kSector = 512;

// An operation that is not flushed yet.
struct Operation {
  bool truncate;
  size_t offset;      // or the new length
  std::string bytes;  // that are written
};

// What the disk holds of a file, and what it may or may not hold.
struct Content {
  std::string flushed;
  std::vector<Operation> pending;
};

// What the disk holds under a name. A removal counts at once or not, as its directory is flushed
// by nobody.
struct Name {
  std::shared_ptr<Content> content;
  std::shared_ptr<Content> removed;  // what the name meant until its removal
};

struct State {
  std::map<std::string, Name> names;
  Watcher watcher;
  int count = 0;
  int first_failure = -1;
  bool all_later = false;
  Failure failure = Failure::kIo;
  bool failed = false;
};

State& TheState() {
  static State state;
  return state;
}

sqlite3_vfs* real = nullptr;

struct File {
  sqlite3_file base;
  sqlite3_file* real;                 // behind this record
  std::shared_ptr<Content>* content;  // null for the log's index, which no loss of power spares
};

File* Cast(sqlite3_file* file) {
  return reinterpret_cast<File*>(file);
}

// Counts an operation and notifies the watcher. @return SQLITE_OK, or the failure that it meets
int Announce() {
  State& state = TheState();
  const int number = state.count++;
  if (state.watcher) state.watcher(number);
  const bool fails = state.first_failure >= 0 && (state.all_later ? number >= state.first_failure
                                                                  : number == state.first_failure);
  if (!fails) return SQLITE_OK;
  state.failed = true;
  return state.failure == Failure::kFull ? SQLITE_FULL : SQLITE_IOERR;
}

void Apply(const Operation& operation, std::string& bytes) {
  if (operation.truncate) {
    bytes.resize(operation.offset, '\0');
    return;
  }
  const size_t end = operation.offset + operation.bytes.size();
  if (bytes.size() < end) bytes.resize(end, '\0');
  std::copy(operation.bytes.begin(), operation.bytes.end(),
            bytes.begin() + static_cast<std::ptrdiff_t>(operation.offset));
}

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

int Close(sqlite3_file* file) {
  delete Cast(file)->content;
  Cast(file)->content = nullptr;
  return Cast(file)->real->pMethods->xClose(Cast(file)->real);
}

int Read(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
  return Cast(file)->real->pMethods->xRead(Cast(file)->real, data, size, offset);
}

int Write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
  if (const int code = Announce(); code != SQLITE_OK) {
    return code == SQLITE_FULL ? code : SQLITE_IOERR_WRITE;
  }
  if (Cast(file)->content != nullptr) {
    (*Cast(file)->content)
        ->pending.push_back(
            {false, static_cast<size_t>(offset),
             std::string(static_cast<const char*>(data), static_cast<size_t>(size))});
  }
  return Cast(file)->real->pMethods->xWrite(Cast(file)->real, data, size, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  if (Announce() != SQLITE_OK) return SQLITE_IOERR_TRUNCATE;
  if (Cast(file)->content != nullptr) {
    (*Cast(file)->content)->pending.push_back({true, static_cast<size_t>(size), {}});
  }
  return Cast(file)->real->pMethods->xTruncate(Cast(file)->real, size);
}

int Sync(sqlite3_file* file, int) {
  if (Announce() != SQLITE_OK) return SQLITE_IOERR_FSYNC;
  // The real file is not flushed: its content only has to last as long as the test.
  if (Cast(file)->content != nullptr) {
    Content& content = **Cast(file)->content;
    for (const Operation& operation : content.pending)
      Apply(operation, content.flushed);
    content.pending.clear();
  }
  return SQLITE_OK;
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
  return Cast(file)->real->pMethods->xFileSize(Cast(file)->real, size);
}
int LockFile(sqlite3_file* file, int level) {
  return Cast(file)->real->pMethods->xLock(Cast(file)->real, level);
}
int UnlockFile(sqlite3_file* file, int level) {
  return Cast(file)->real->pMethods->xUnlock(Cast(file)->real, level);
}
int CheckReservedLock(sqlite3_file* file, int* result) {
  return Cast(file)->real->pMethods->xCheckReservedLock(Cast(file)->real, result);
}
int FileControl(sqlite3_file* file, int what, void* argument) {
  return Cast(file)->real->pMethods->xFileControl(Cast(file)->real, what, argument);
}
int SectorSize(sqlite3_file*) {
  return kSector;
}
int Characteristics(sqlite3_file*) {
  return 0;  // nothing is promised, not even that a sector is written whole or not at all
}
int ShmMap(sqlite3_file* file, int page, int size, int extend, void volatile** address) {
  return Cast(file)->real->pMethods->xShmMap(Cast(file)->real, page, size, extend, address);
}
int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
  return Cast(file)->real->pMethods->xShmLock(Cast(file)->real, offset, count, flags);
}
void ShmBarrier(sqlite3_file* file) {
  Cast(file)->real->pMethods->xShmBarrier(Cast(file)->real);
}
int ShmUnmap(sqlite3_file* file, int remove) {
  return Cast(file)->real->pMethods->xShmUnmap(Cast(file)->real, remove);
}

constexpr sqlite3_io_methods kMethods = {2,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         LockFile,
                                         UnlockFile,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         Characteristics,
                                         ShmMap,
                                         ShmLock,
                                         ShmBarrier,
                                         ShmUnmap,
                                         nullptr,
                                         nullptr};

int OpenFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* out_flags) {
  File* opened = Cast(file);
  opened->base.pMethods = nullptr;
  opened->real = reinterpret_cast<sqlite3_file*>(opened + 1);
  opened->content = nullptr;
  const bool existed = path != nullptr && std::filesystem::exists(path);
  const int code = real->xOpen(real, path, opened->real, flags, out_flags);
  if (code != SQLITE_OK) return code;
  if (path != nullptr) {
    Name& name = TheState().names[path];
    if (name.content == nullptr) {
      name.content = std::make_shared<Content>();
      if (existed) name.content->flushed = ReadAll(path);
    }
    opened->content = new std::shared_ptr<Content>(name.content);
  }
  opened->base.pMethods = &kMethods;
  return SQLITE_OK;
}

int Delete(sqlite3_vfs*, const char* path, int flush) {
  if (Announce() != SQLITE_OK) return SQLITE_IOERR_DELETE;
  const auto found = TheState().names.find(path);
  if (found != TheState().names.end()) {
    Name& name = found->second;
    if (name.content != nullptr) name.removed = name.content;
    name.content = nullptr;
    if (flush != 0) name.removed = nullptr;
  }
  return real->xDelete(real, path, 0);
}

}  // namespace

void Install() {
  static sqlite3_vfs vfs;
  if (real != nullptr) return;
  real = sqlite3_vfs_find(nullptr);
  vfs = *real;
  vfs.szOsFile = static_cast<int>(sizeof(File)) + real->szOsFile;
  vfs.zName = "crash";
  vfs.pNext = nullptr;
  vfs.xOpen = OpenFile;
  vfs.xDelete = Delete;
  if (sqlite3_vfs_register(&vfs, 1) != SQLITE_OK) std::abort();
}

void Reset() {
  TheState() = State();
}

void Watch(Watcher watcher) {
  TheState().watcher = std::move(watcher);
  TheState().count = 0;
}

int OperationCount() {
  return TheState().count;
}

void FailFrom(int first, bool all_later, Failure failure) {
  State& state = TheState();
  state.count = 0;
  state.first_failure = first;
  state.all_later = all_later;
  state.failure = failure;
  state.failed = false;
}

bool HasFailed() {
  return TheState().failed;
}

void LayOut(const std::string& from, const std::string& to, Unflushed unflushed, uint32_t seed) {
  std::mt19937 random(seed);
  const auto chance = [&random] { return random() % 2 == 0; };
  std::filesystem::create_directories(to);
  std::filesystem::permissions(to, std::filesystem::perms::owner_all);
  for (const auto& [path, name] : TheState().names) {
    if (std::filesystem::path(path).parent_path() != from) continue;
    // An unflushed removal may be undone; an unflushed file that took the name may be lost with it.
    std::shared_ptr<Content> content = name.content;
    if (content == nullptr) {
      const bool undone =
          unflushed == Unflushed::kLost || (unflushed == Unflushed::kTorn && chance());
      if (undone) content = name.removed;
    }
    if (content == nullptr) continue;
    std::string bytes = content->flushed;
    for (const Operation& operation : content->pending) {
      if (unflushed == Unflushed::kLost) break;
      if (unflushed == Unflushed::kKept || operation.truncate) {
        if (unflushed == Unflushed::kKept || chance()) Apply(operation, bytes);
        continue;
      }
      for (size_t at = 0; at < operation.bytes.size(); at += kSector) {
        if (chance()) {
          Apply({false, operation.offset + at, operation.bytes.substr(at, kSector)}, bytes);
        }
      }
    }
    const std::string copy = to + "/" + std::filesystem::path(path).filename().string();
    std::ofstream(copy, std::ios::binary | std::ios::trunc) << bytes;
    std::filesystem::permissions(
        copy, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
}

}  // namespace crash_vfs
