#pragma once

#include "Shells/CommandLine/Command.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::shell {

// Where the files of one home lie. Nothing of it need exist.
struct HomeFiles {
  FileURL lock;
  FileURL history;
  FileURL settings;
  FileURL log;      // a folder
  FileURL library;  // a folder
  FileURL staging;  // a folder

  // Throws Error, with words for the user, where the user has no home.
  static HomeFiles of(const Context& context);
};

}  // namespace tolvander::shell
