# The tokeniser, parser and writer call one another's exported functions on every token;
# without this each such call goes through the PLT, since a shared library's exported
# functions could be replaced at load time. Nothing replaces them.
target_compile_options(velmora_json PRIVATE -fno-semantic-interposition)
