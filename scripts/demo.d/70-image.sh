# The GPU image pipeline, headless (Mesa's llvmpipe when there is no GPU): the sample
# picture through one pass-through filter, turned left, flipped, and fitted into a box
# (kept in build/demo-images to look at).
images_out=build/demo-images
mkdir -p "$images_out"
run image copy data/images/sample.png "$images_out/rotate-left.png" --rotate 1
run image copy data/images/sample.png "$images_out/flip-vertical.png" --rotate 3
run image copy data/images/sample.png "$images_out/fit.png" --fit 100x100
