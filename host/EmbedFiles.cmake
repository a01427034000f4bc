# Writes a C++ source that holds files as bytes:
# cmake -DOUTPUT=Samples.cpp -DHEADER=Samples.h -DFUNCTION=samples -DFILES="a|b" -P EmbedFiles.cmake
string(REPLACE "|" ";" FILES "${FILES}")
set(entries "")
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
  # In pieces: compilers need not take long literals, and editors do not.
  string(REGEX REPLACE "((\\\\x..)(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?)"
    "    \"\\1\"\n" bytes "${bytes}")
  file(SIZE ${file} size)
  string(APPEND entries "    {\"/${name}\", std::string_view(\n${bytes}    , ${size})},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"${HEADER}\"

namespace quillmoria {
namespace {

constexpr EmbeddedFile kFiles[] = {
${entries}};

}  // namespace

std::span<const EmbeddedFile> ${FUNCTION}() { return kFiles; }

}  // namespace quillmoria
")
