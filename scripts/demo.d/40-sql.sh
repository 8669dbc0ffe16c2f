# The SQLite Unicode extension through `velmora sql`.
run sql :memory: "SELECT unicode_version(), fold('ÀÉÎ Straße'), unaccent('Crème brûlée, Ελληνικά')"
run sql :memory: "CREATE TABLE names(name TEXT)" \
    "INSERT INTO names VALUES ('Zoë'), ('école'), ('Éclair'), ('apple'), ('Ölkanne'), (NULL)" \
    "SELECT name, upper(name) FROM names ORDER BY name COLLATE NOCASE"
run sql :memory: "SELECT 'ΣΟΦΊΑ' LIKE 'σοφια', 'Ünïcödé' LIKE 'unicode'"
run sql --cf :memory: "SELECT upper('straße'), lower('ΟΔΟΣ')"
run_failing sql :memory: "SELECT 'a' LIKE 'a' ESCAPE 'xy'"
