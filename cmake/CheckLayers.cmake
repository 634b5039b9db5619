# Refuses an include that crosses the layers. Run before a layer is compiled, so that such an include fails the build.
#
#   cmake -D LAYER=TolvanderCore -D SOURCES=<list> -D STAMP=<file> -P cmake/CheckLayers.cmake
#
# Allowed in every layer: the C++ standard library (a header with neither slash nor dot) and the layers it stands on.
# Anything else has to be named here, which makes a new dependency of the engine a decision and not an accident.
# The platform's layers may use every header of the system, in angle brackets; of ours, only what it answers to.

cmake_minimum_required(VERSION 3.25)  # a script sets its own policies

set(posix_headers
    dirent.h errno.h fcntl.h limits.h poll.h signal.h stdlib.h string.h sys/file.h sys/stat.h sys/types.h
    sys/statvfs.h time.h unistd.h)

include(${CMAKE_CURRENT_LIST_DIR}/FolderArrows.cmake)

set(layer_directory "${LAYER}")
if(LAYER STREQUAL "TolvanderCore")
  set(own_layers "TolvanderCore/")
  set(named_headers ${posix_headers} simdjson.h)
elseif(LAYER STREQUAL "TolvanderApp")
  set(own_layers "TolvanderCore/|TolvanderApp/")
  set(named_headers)
elseif(LAYER STREQUAL "LinuxEngine")
  set(layer_directory "Platform/Linux")
  set(own_layers "TolvanderCore/|Platform/Linux/")
  set(named_headers)
elseif(LAYER STREQUAL "LinuxApplication")
  set(layer_directory "Platform/Linux")
  set(own_layers "TolvanderCore/|TolvanderApp/Platform/|TolvanderApp/Concurrency/|Platform/Linux/")
  set(named_headers)
elseif(LAYER STREQUAL "CommandLineReports")
  set(layer_directory "Shells/CommandLine/Reports")
  set(own_layers "TolvanderCore/|TolvanderApp/|Shells/CommandLine/Reports/")
  set(named_headers)
else()
  message(FATAL_ERROR "No rules for the layer ${LAYER}")
endif()

# What is ours and is named in angle brackets is no header of the system.
set(our_folders "TolvanderCore/|TolvanderApp/|Platform/|Shells/|Samples/|Tests/|Benchmarks/|Fuzz/")

# Reads the list of folders, in which each comes after those that it includes.
set(folders)
string(REPLACE "/" "_" folder_list "${layer_directory}_folders")
foreach(entry IN LISTS ${folder_list})
  string(REGEX MATCH "^([A-Za-z]+):(.*)$" _ "${entry}")
  set(folder "${CMAKE_MATCH_1}")
  separate_arguments(allowed_in_${folder} UNIX_COMMAND "${CMAKE_MATCH_2}")
  foreach(earlier IN LISTS allowed_in_${folder})
    if(NOT earlier IN_LIST folders)
      message(FATAL_ERROR "FolderArrows.cmake: ${layer_directory}/${folder} comes before ${earlier}, which it includes")
    endif()
  endforeach()
  list(APPEND folders ${folder})
endforeach()

# The folder of a file whose path is given relative to the layer; none for a header at the top without a source file.
function(get_folder path result)
  cmake_path(GET path PARENT_PATH folder)
  if(folder STREQUAL "")
    cmake_path(GET path STEM unit)
    file(GLOB sources RELATIVE ${layer_root} ${layer_root}/*/${unit}.cpp)
    cmake_path(GET sources PARENT_PATH folder)
  endif()
  set(${result} "${folder}" PARENT_SCOPE)
endfunction()

set(offences)
foreach(source IN LISTS SOURCES)
  # A file outside of the layer is a test of this check.
  set(folder)
  if(source MATCHES "^(.*/${layer_directory})/(.*)$")
    set(layer_root "${CMAKE_MATCH_1}")
    get_folder("${CMAKE_MATCH_2}" folder)
    if(folder AND NOT folder IN_LIST folders)
      list(APPEND offences "${source}: the folder ${folder} is not in FolderArrows.cmake")
    endif()
  endif()
  # A source file includes its header first, which shows that the header compiles alone. The header is beside it or at
  # the top of the layer.
  cmake_path(REPLACE_EXTENSION source .h OUTPUT_VARIABLE own_header)
  if(NOT EXISTS "${own_header}")
    string(REGEX REPLACE "/${layer_directory}/.*/" "/${layer_directory}/" own_header "${own_header}")
  endif()
  if(source MATCHES "\\.cpp$" AND EXISTS "${own_header}")
    file(STRINGS "${source}" first_include REGEX "^#include" LIMIT_COUNT 1)
    string(REGEX REPLACE "^#include [<\"](.*)[>\"]$" "\\1" first_include "${first_include}")
    string(FIND "${own_header}" "/${first_include}" position REVERSE)
    string(LENGTH "/${first_include}" length)
    math(EXPR end "${position} + ${length}")
    string(LENGTH "${own_header}" whole_length)
    if(position EQUAL -1 OR NOT end EQUAL whole_length)
      list(APPEND offences "${source}: <${first_include}> before its own header")
    endif()
  endif()
  # Every line with the directive, however it is put, has to be one that is understood and allowed.
  file(STRINGS "${source}" lines REGEX "(#|%:)[ \t]*(include|import|\\\\$)")
  foreach(line IN LISTS lines)
    if(line MATCHES "^[ \t]*//")
      continue()
    endif()
    set(header "a directive that is not understood: ${line}")
    set(bracket)
    if(line MATCHES "^[ \t]*#[ \t]*include[ \t]*([<\"])([^>\"]+)[>\"][ \t]*(//.*)?$")
      set(bracket "${CMAKE_MATCH_1}")
      set(header "${CMAKE_MATCH_2}")
    endif()
    if(LAYER MATCHES "^Linux" AND bracket STREQUAL "<" AND
       NOT header MATCHES "^(${our_folders})|\\.\\.")
      continue()
    endif()
    if(header MATCHES "\\.\\." OR
       (NOT header MATCHES "^(${own_layers})" AND NOT header MATCHES "^[a-z_0-9]+$" AND NOT header IN_LIST named_headers))
      list(APPEND offences "${source}: <${header}>")
    elseif(folder AND header MATCHES "^${layer_directory}/(.*)$")
      get_folder("${CMAKE_MATCH_1}" other_folder)
      if(other_folder AND NOT other_folder STREQUAL folder AND
         NOT other_folder IN_LIST allowed_in_${folder})
        list(APPEND offences "${source}: <${header}>, since ${folder} may not include ${other_folder}")
      endif()
    endif()
  endforeach()
endforeach()

if(offences)
  list(JOIN offences "\n  " text)
  if(LAYER MATCHES "^Linux")
    set(advice "It answers contracts, and what the application decides is not its business")
  elseif(LAYER STREQUAL "CommandLineReports")
    set(advice "Reports make text of what the application says, and do nothing else")
  else()
    set(advice "Put a contract in ${LAYER}/Platform and its answer in Platform/Linux")
  endif()
  message(FATAL_ERROR "${LAYER} must not include these. ${advice}:\n  ${text}")
endif()
file(TOUCH "${STAMP}")
