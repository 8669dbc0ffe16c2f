# Two processes exchanging messages: a wormhole listener and an IAC listener run in the
# background (the "other shell") while this one passes messages and calls actions. Their
# sockets and files live in a scratch home inside $demo_tmp.
export VELMORA_HOME=$demo_tmp/messaging
mkdir -p "$VELMORA_HOME"

other_shell() {  # ARGS... : starts velmora ARGS in the background, once it listens
    show "$@"
    echo "    (in the other shell, in the background)"
    "$velmora" "$@" > "$VELMORA_HOME/other.out" &
    other=$!
    until grep -q listening "$VELMORA_HOME/other.out" 2>/dev/null; do sleep 0.05; done
}
other_shell_output() {
    wait "$other"
    echo "    (the other shell printed:)"
    cat "$VELMORA_HOME/other.out"
    echo
}

other_shell wormhole listen greeting --group group.demo --count 2 --timeout 10
run wormhole pass greeting '"hello from the other shell"' --group group.demo
run wormhole pass greeting '{"count": 3, "tags": ["a", "b"]}' --group group.demo --transit coordinated
other_shell_output
run wormhole read greeting --group group.demo

other_shell wormhole listen greeting --group group.demo --transit message --peer "$VELMORA_HOME/pair.sock" --count 1 --timeout 10
run wormhole pass greeting '"live over the session"' --group group.demo --transit message --peer "$VELMORA_HOME/pair.sock"
other_shell_output

other_shell iac listen todo --action 'add={"id":"42"}' --fail 'break=7:Broken' --cancel ask --count 3
run iac call todo add 'title=Milk & eggs' --as caller
run_failing iac call todo break --as caller
run_failing iac call todo ask --as caller
other_shell_output
run iac url todo add 'title=Milk & eggs'
unset VELMORA_HOME
