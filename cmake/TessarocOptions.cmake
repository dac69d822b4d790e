# Compile options of Tessaroc's own targets. They are set for this directory
# tree only, so a program that links Tessaroc::tessaroc never gets them.
#
# The order of floating-point operations fixes the last bits of results, so
# contraction into fused multiply-adds is off and fast-math is never used.
# Code is built for the baseline x86-64 target so results agree across machines.
add_compile_options(-Wall -Wextra -ffp-contract=off -fno-fast-math)
if(TESSAROC_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  add_compile_options(-march=x86-64 -mtune=generic)
endif()
if(CMAKE_POSITION_INDEPENDENT_CODE)
  # Position-independent code for the shared library and the Python module;
  # calls inside the library still inline as in a static build.
  add_compile_options(-fno-semantic-interposition)
endif()
if(TESSAROC_TSAN)
  add_compile_options(-fsanitize=thread -g)
  add_link_options(-fsanitize=thread)
  # Workers on plain threads, whose hand-overs the sanitizer can see (see
  # source/host/jobs/job_service.h).
  add_compile_definitions(TESSAROC_PLAIN_THREADS)
endif()
if(TESSAROC_SANITIZE OR TESSAROC_FUZZ)
  # Memory errors, undefined behaviour and float-to-integer conversions out of
  # range (which GCC's "undefined" leaves out) stop the program at the first
  # report, so a test or a fuzz run cannot pass over one.
  set(TESSAROC_SANITIZERS -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all)
  # Line tables are all a report needs to name file and line, and they build
  # faster than full debug information.
  add_compile_options(${TESSAROC_SANITIZERS} -fno-omit-frame-pointer
                      $<IF:$<CXX_COMPILER_ID:Clang>,-gline-tables-only,-g1>)
  add_link_options(${TESSAROC_SANITIZERS})
endif()
if(TESSAROC_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "TESSAROC_FUZZ needs clang (libFuzzer): configure with -DCMAKE_CXX_COMPILER=clang++")
  endif()
  # Coverage for the fuzzer in every layer; the targets link libFuzzer itself.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
# Our own code reads the public headers from include/ and everything else
# from source/; neither reaches a consumer through these settings.
include_directories(${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include ${PROJECT_SOURCE_DIR}/source)

# OpenImageIO as an imported target, found in the calling directory. Debian's
# package names OpenCV's include folder, which only the OpenCV development
# package provides; we use no OpenCV interop, so that folder is dropped.
function(tessaroc_find_openimageio)
  find_package(OpenImageIO CONFIG REQUIRED)
  foreach(prop INTERFACE_INCLUDE_DIRECTORIES INTERFACE_SYSTEM_INCLUDE_DIRECTORIES)
    get_target_property(dirs OpenImageIO::OpenImageIO ${prop})
    if(dirs)
      list(FILTER dirs EXCLUDE REGEX "opencv")
      set_target_properties(OpenImageIO::OpenImageIO PROPERTIES ${prop} "${dirs}")
    endif()
  endforeach()
endfunction()
