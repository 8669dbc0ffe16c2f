printf '{"b": [1, 2.50, "caf\\u00e9"], "a": {"nested": [true, null]}}' > "${TMPDIR:-/tmp}/velmora-demo.json"
run json --sort-keys "${TMPDIR:-/tmp}/velmora-demo.json"
run json --pretty "${TMPDIR:-/tmp}/velmora-demo.json"
