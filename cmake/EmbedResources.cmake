# Writes a C++ source holding every description resource file, so the library
# finds its node descriptions wherever it is moved or linked.
#   cmake -DRESOURCE_DIR=<resources> -DOUTPUT=<file.cpp> -P EmbedResources.cmake
file(GLOB_RECURSE files RELATIVE ${RESOURCE_DIR} ${RESOURCE_DIR}/*.json)
list(SORT files)
set(text "// Generated at build time from the files in resources/. Do not edit.\n")
string(APPEND text "#include \"host/resources/embedded_resources.h\"\n\nnamespace tessaroc::host {\n\n")
string(APPEND text "namespace {\n\nconst EmbeddedFile kFiles[] = {\n")
foreach(f ${files})
  file(READ ${RESOURCE_DIR}/${f} content)
  string(FIND "${content}" ")tessaroc\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${f} contains the raw string delimiter )tessaroc\"")
  endif()
  string(APPEND text "    {\"${f}\", R\"tessaroc(${content})tessaroc\"},\n")
endforeach()
string(APPEND text "};\n\n}  // namespace\n\n")
string(APPEND text "std::span<const EmbeddedFile> EmbeddedResources() { return kFiles; }\n\n}  // namespace tessaroc::host\n")
file(WRITE ${OUTPUT} "${text}")
