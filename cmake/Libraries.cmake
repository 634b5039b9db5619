# Finds every library that is needed, and says of all that are missing what they are for and how Debian names them.
#
# One line a library: the pkg-config module, the lowest version that was tried (Debian 12's), the Debian package, what
# it is for. Each becomes a target PkgConfig::<module>. README.md lists the same for packagers of other systems.

set(tolvander_libraries
    "simdjson      | 3.0.1     | libsimdjson-dev          | reads JSON"
    "libcrypto     | 3.0       | libssl-dev               | SHA-256"
    "icu-i18n      | 72.1      | libicu-dev               | sorts and compares names, and knows calendars and time zones"
    "icu-uc        | 72.1      | libicu-dev               | Unicode text"
    "sqlite3       | 3.40.1    | libsqlite3-dev           | the photo library's catalogue"
    "libudev       | 252       | libudev-dev              | names and kinds of drives"
    "mount         | 2.38.1    | libmount-dev             | the table of mounts"
    "libsystemd    | 252       | libsystemd-dev           | D-Bus: ejects drives and shows notifications"
    "zlib          | 1.2.13    | zlib1g-dev               | reads PNG pictures"
    "libheif       | 1.15.1    | libheif-dev              | reads HEIC pictures"
    "libavformat   | 59.27.100 | libavformat-dev          | reads and writes movies (FFmpeg 5.1)"
    "libavcodec    | 59.37.100 | libavcodec-dev           | movies"
    "libavutil     | 57.28.100 | libavutil-dev            | movies")
set(tolvander_command_line_libraries
    "CLI11         | 2.1.2     | libcli11-dev             | reads command lines")
set(tolvander_test_libraries
    "libjpeg       | 2.1.5     | libjpeg62-turbo-dev      | makes the pictures of tests and of the sample card"
    "gtest         | 1.12.1    | libgtest-dev             | tests"
    "gtest_main    | 1.12.1    | libgtest-dev             | tests")
set(tolvander_benchmark_libraries
    "benchmark     | 1.7.1     | libbenchmark-dev         | benchmarks")

find_package(Threads REQUIRED)
find_package(PkgConfig)
if(NOT PKG_CONFIG_FOUND)
  message(FATAL_ERROR "pkg-config is missing, which finds the libraries: Debian package pkg-config.")
endif()

if(NOT TOLVANDER_FUZZ)
  list(APPEND tolvander_libraries ${tolvander_command_line_libraries})
endif()
if(TOLVANDER_BUILD_TESTS)
  list(APPEND tolvander_libraries ${tolvander_test_libraries})
endif()
if(TOLVANDER_BUILD_BENCHMARKS)
  list(APPEND tolvander_libraries ${tolvander_benchmark_libraries})
endif()

set(missing_libraries)
foreach(line IN LISTS tolvander_libraries)
  string(REGEX REPLACE " *\\| *" ";" columns "${line}")
  list(GET columns 0 module)
  list(GET columns 1 version)
  list(GET columns 2 package)
  list(GET columns 3 purpose)
  pkg_check_modules(${module} QUIET IMPORTED_TARGET "${module}>=${version}")
  if(NOT ${module}_FOUND)
    list(APPEND missing_libraries "${module} ${version} or later: ${purpose} (Debian package ${package})")
  endif()
endforeach()
if(missing_libraries)
  list(JOIN missing_libraries "\n  " text)
  message(FATAL_ERROR "These libraries are missing, or older:\n  ${text}\n`./dev setup build` installs all of them on Debian.")
endif()
