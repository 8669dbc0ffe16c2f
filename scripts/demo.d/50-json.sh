printf '{"b": [1, 2.50, "caf\\u00e9"], "a": {"nested": [true, null]}}' > "$demo_tmp/velmora-demo.json"
run json --sort-keys "$demo_tmp/velmora-demo.json"
run json --pretty "$demo_tmp/velmora-demo.json"
