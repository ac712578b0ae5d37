# Writes a C++ source that holds a file's bytes, as header HEADER declares them:
#   cmake -D FILE=... -D OUT=... -D HEADER=... -D NAMESPACE=... -D NAME=... -P EmbedFile.cmake
# gives `const unsigned char NAME[]` and `const std::size_t NAMESize`.

file(READ "${FILE}" bytes HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
# Lines of 8 bytes: compilers have limits on the length of one.
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
file(WRITE "${OUT}" "#include \"${HEADER}\"

namespace ${NAMESPACE} {
const unsigned char ${NAME}[] = {
${bytes}};
const std::size_t ${NAME}Size = sizeof(${NAME});
}  // namespace ${NAMESPACE}
")
