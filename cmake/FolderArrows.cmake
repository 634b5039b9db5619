# What the folders of each layer may include of each other. Besides these, everything may include the headers at the top
# of a layer that have no source file: they are values. A header at the top with a source file belongs to the folder of
# that file. A folder includes only folders that are listed before it, so there is no cycle.

set(TolvanderCore_folders
  "Foundation:"
  "Concurrency: Foundation"
  "Platform: Concurrency Foundation"
  "Files: Concurrency Foundation Platform"
  "JSON: Files Foundation"
  "Diagnostics: Concurrency Files Foundation JSON Platform"
  "Media: Foundation Platform"
  "Camera: Files Foundation JSON Platform"
  "Picture: Concurrency Files Foundation Media Platform"
  "Video: Concurrency Files Foundation Platform"
  "Staging: Concurrency Files Foundation Media Picture Platform Video"
  "History: Concurrency Files Foundation JSON Media Picture Platform"
  "Recognition: Concurrency Foundation Media Platform"
  "Sync: Concurrency Foundation History Media Recognition")

set(TolvanderApp_folders
  "Concurrency:"
  "Platform: Concurrency"
  "Camera: Platform"
  "Diagnostics: Platform"
  "Notifications: Concurrency Platform"
  "Permissions: Concurrency Platform"
  "Settings: Concurrency Platform"
  "Trash: Platform"
  "Library: Concurrency Diagnostics Platform"
  "Import: Concurrency Library"
  "Presentation: Platform"
  "Model: Camera Concurrency Diagnostics Import Library Notifications Permissions Platform Presentation Settings Trash"
  "Program: Concurrency Model Platform Presentation")

# The first six answer the engine's contracts and know nothing of the application.
set(Platform_Linux_folders
  "Foundation:"
  "Text:"
  "Images:"
  "Mounts: Foundation"
  "Movies:"
  "Files: Foundation Mounts"
  "Settings:"
  "System: Files"
  "DBus: System"
  "Notifications: DBus"
  "Volumes: DBus Mounts System"
  "Trash: Files"
  "PhotoLibrary: Files")
