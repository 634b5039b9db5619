#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Platform/TrashOperations.h"

namespace tolvander::tests {

// Passes calls on to another answer to the Trash contract, and runs a hook just before each: it changes
// files, or throws the exception with which the call is to fail. Directories are those of the other answer.
class WatchedTrash : public app::TrashOperations {
 public:
  explicit WatchedTrash(app::TrashOperations& platform) : platform_(platform) {}

  std::function<void(const std::string& call)> before;  // or none
  std::function<std::optional<std::string>(const FileURL& directory)>
      volumeUUID;  // in place of the platform's
  bool saysWhereItMovedAnItem = true;

  std::unique_ptr<app::DirectoryDescriptor> openRootDirectory() override {
    watch("openRootDirectory");
    return platform_.openRootDirectory();
  }
  std::unique_ptr<app::DirectoryDescriptor> openDirectory(const app::DirectoryDescriptor& parent,
                                                          const std::string& name) override {
    watch("openDirectory");
    return platform_.openDirectory(parent, name);
  }
  std::unique_ptr<app::FileDescriptor> openFile(const app::DirectoryDescriptor& parent,
                                                const std::string& name) override {
    watch("openFile");
    return std::make_unique<WatchedFile>(*this, platform_.openFile(parent, name));
  }
  app::FileStatus status(const app::DirectoryDescriptor& parent, const std::string& name) override {
    watch("status");
    return platform_.status(parent, name);
  }
  void renameExclusively(const app::DirectoryDescriptor& from, const std::string& name,
                         const app::DirectoryDescriptor& to, const std::string& newName) override {
    watch("renameExclusively");
    platform_.renameExclusively(from, name, to, newName);
  }
  void remove(const app::DirectoryDescriptor& parent, const std::string& name) override {
    watch("remove");
    platform_.remove(parent, name);
  }
  FileURL trashDirectory(const FileURL& place, bool create) override {
    watch("trashDirectory");
    return platform_.trashDirectory(place, create);
  }
  std::optional<FileURL> trashItem(const app::DirectoryDescriptor& parent, const std::string& name,
                                   const app::DirectoryDescriptor& trash) override {
    watch("trashItem");
    const auto moved = platform_.trashItem(parent, name, trash);
    return saysWhereItMovedAnItem ? moved : std::nullopt;
  }
  std::vector<app::TrashedItem> trashedItems(const app::DirectoryDescriptor& trash) override {
    watch("trashedItems");
    return platform_.trashedItems(trash);
  }
  std::optional<std::string> volumeUUIDString(const FileURL& directory) override {
    watch("volumeUUIDString");
    return volumeUUID ? volumeUUID(directory) : platform_.volumeUUIDString(directory);
  }
  bool keepsTopLevelFoldersInPrivate() const override { return platform_.keepsTopLevelFoldersInPrivate(); }

 private:
  class WatchedFile final : public app::FileDescriptor {
   public:
    WatchedFile(WatchedTrash& owner, std::unique_ptr<app::FileDescriptor> file)
        : owner_(owner), file_(std::move(file)) {}
    app::FileStatus status() override {
      owner_.watch("file.status");
      return file_->status();
    }
    std::uint64_t fileNumber() override {
      owner_.watch("file.fileNumber");
      return file_->fileNumber();
    }
    void seekToStart() override {
      owner_.watch("file.seekToStart");
      file_->seekToStart();
    }
    std::size_t read(std::span<std::byte> buffer) override {
      owner_.watch("file.read");
      return file_->read(buffer);
    }

   private:
    WatchedTrash& owner_;
    std::unique_ptr<app::FileDescriptor> file_;
  };

  void watch(const std::string& call) const {
    if (const auto act = before) {  // a copy, because it may put another in its place
      act(call);
    }
  }

  app::TrashOperations& platform_;
};

}  // namespace tolvander::tests
