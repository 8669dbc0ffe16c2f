run diff --updated data/lists/old.json data/lists/new.json
run diff --updated --apply --pretty data/lists/old.json data/lists/new.json
