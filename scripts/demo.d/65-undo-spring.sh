# The undo manager on a script of edits (grouping by pass, names, undo, limits) and on one
# it refuses; the default spring's key frames with their plot (kept in build/demo-spring to
# look at; the 1540 frames go to a file beside it, of which the first lines are shown).
run undo data/undo/rename.txt
printf 'group-by-event off\nset title A\n' > "$demo_tmp/ungrouped.txt"
run_failing undo "$demo_tmp/ungrouped.txt"
spring_out=build/demo-spring
mkdir -p "$spring_out"
rm -f "$spring_out/spring.png"
show spring --from 0,0 --to 100,40 --kind point --plot "$spring_out/spring.png"
"$velmora" spring --from 0,0 --to 100,40 --kind point --plot "$spring_out/spring.png" \
    > "$spring_out/spring.csv"
head -4 "$spring_out/spring.csv"
echo "..."
echo
run_failing spring --from 1,2 --to 3 --kind point
