# Compile options every Tessaroc target shares. The order of floating-point
# operations fixes the last bits of results, so contraction into fused
# multiply-adds is off and fast-math is never used. Code is built for the
# baseline x86-64 target so results agree across machines.
add_library(tessaroc_options INTERFACE)
target_compile_options(tessaroc_options INTERFACE
  -Wall -Wextra -Werror
  -ffp-contract=off
  -fno-fast-math
)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  target_compile_options(tessaroc_options INTERFACE -march=x86-64 -mtune=generic)
endif()
if(TESSAROC_TSAN)
  target_compile_options(tessaroc_options INTERFACE -fsanitize=thread -g)
  target_link_options(tessaroc_options INTERFACE -fsanitize=thread)
  # Workers on plain threads, whose hand-overs the sanitizer can see (see
  # source/host/jobs/job_service.h).
  target_compile_definitions(tessaroc_options INTERFACE TESSAROC_PLAIN_THREADS)
endif()
target_include_directories(tessaroc_options INTERFACE ${PROJECT_SOURCE_DIR}/source)

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
