# Turns a data file into a C++ source holding its bytes, run at build time:
#   cmake -DNAME=<symbol> -DINPUT=<file> -DOUTPUT=<file.cpp> -P embed_file.cmake
# The source defines `const char ZEMU_embedded_<NAME>[]` (the bytes plus a
# terminating NUL) and `const unsigned long ZEMU_embedded_<NAME>_size` (bytes
# without the NUL).
file(READ "${INPUT}" hex HEX)
string(LENGTH "${hex}" hex_length)
math(EXPR size "${hex_length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
# 16 bytes a line keeps the generated file readable in a diff tool.
string(REGEX REPLACE "((0x[0-9a-f][0-9a-f],){16})" "\\1\n" bytes "${bytes}")
get_filename_component(source_name "${INPUT}" NAME)
file(WRITE "${OUTPUT}.tmp"
"// Generated at build time from ${source_name}; do not edit.\n"
"extern const char ZEMU_embedded_${NAME}[];\n"
"extern const unsigned long ZEMU_embedded_${NAME}_size;\n"
"const char ZEMU_embedded_${NAME}[] = {\n${bytes}0x00};\n"
"const unsigned long ZEMU_embedded_${NAME}_size = ${size}UL;\n")
# Only a changed table touches the output, so an unchanged one rebuilds nothing.
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
