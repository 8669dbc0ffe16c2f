# Two processes exchanging messages: a wormhole listener and an IAC listener run in the
# background while this shell passes messages and calls actions. A scratch home keeps
# their sockets and files away from the user's own.
demo_home=$(mktemp -d)
export VELMORA_HOME=$demo_home
"$velmora" wormhole listen greeting --group group.demo --count 2 --timeout 10 > "$demo_home/listen.out" &
listener=$!
until grep -q listening "$demo_home/listen.out" 2>/dev/null; do sleep 0.05; done
run wormhole pass greeting '"hello from the other shell"' --group group.demo
run wormhole pass greeting '{"count": 3, "tags": ["a", "b"]}' --group group.demo --transit coordinated
wait "$listener"
echo "\$ velmora wormhole listen greeting --group group.demo --count 2   # the other shell"
cat "$demo_home/listen.out"
echo
run wormhole read greeting --group group.demo

"$velmora" iac listen todo --action 'add={"id":"42"}' --fail 'break=7:Broken' --cancel ask --count 3 > "$demo_home/iac.out" &
listener=$!
until grep -q listening "$demo_home/iac.out" 2>/dev/null; do sleep 0.05; done
run iac call todo add 'title=Milk & eggs' --as caller
run iac call todo break --as caller || true
run iac call todo ask --as caller || true
wait "$listener"
echo "\$ velmora iac listen todo --action 'add={\"id\":\"42\"}' --fail 'break=7:Broken' --cancel ask --count 3   # the other shell"
cat "$demo_home/iac.out"
echo
run iac url todo add 'title=Milk & eggs'
unset VELMORA_HOME
rm -rf "$demo_home"
