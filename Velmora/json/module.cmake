# The tokeniser, parser and writer call one another's exported functions on every token.
# -Bsymbolic-functions already binds them at link time; this lets the compiler call them
# directly and inline them within a file, since nothing replaces them at load time.
target_compile_options(velmora_json PRIVATE -fno-semantic-interposition)
