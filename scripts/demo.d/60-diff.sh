run diff --updated data/lists/old.json data/lists/new.json
run diff --updated --apply --pretty data/lists/old.json data/lists/new.json
printf '{"sections": [{"section": "Inbox", "items": [{"title": "no id"}]}]}' > "$demo_tmp/no-id.json"
run_failing diff "$demo_tmp/no-id.json" data/lists/new.json
