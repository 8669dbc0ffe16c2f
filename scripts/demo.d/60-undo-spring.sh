# The undo manager on a script of edits (grouping by pass, names, undo, limits), and the
# default spring's key frames with their plot (the frames go to a file: there are 1540).
run undo data/undo/rename.txt
spring_out=build/demo-spring
mkdir -p "$spring_out"
echo "\$ velmora spring --from 0,0 --to 100,40 --kind point --plot $spring_out/spring.png > $spring_out/spring.csv"
"$velmora" spring --from 0,0 --to 100,40 --kind point --plot "$spring_out/spring.png" \
    > "$spring_out/spring.csv"
head -4 "$spring_out/spring.csv"
echo
