# The GPU image pipeline, headless (Mesa's llvmpipe when there is no GPU): the sample
# picture through one pass-through filter, turned left, flipped, and fitted into a box
# (kept in build/demo-images to look at).
images_out=build/demo-images
mkdir -p "$images_out"
run image copy data/images/sample.png "$images_out/rotate-left.png" --rotate 1
run image copy data/images/sample.png "$images_out/flip-vertical.png" --rotate 3
run image copy data/images/sample.png "$images_out/fit.png" --fit 100x100
# Filters from the catalogue: a blur, a curves file, a pipeline configuration, a chain of
# named filters and a blend; then a filter that does not exist.
run image filter docs/images/scene.png "$images_out/blur.png" --blur 3
run image filter docs/images/scene.png "$images_out/curve.png" --curve data/images/warm.acv
run image filter docs/images/scene.png "$images_out/pipeline.png" --pipeline data/images/pipeline.json
run image filter docs/images/scene.png "$images_out/chain.png" --filter 'Sepia:setIntensity=0.9' --filter 'Crop:setCropRegion=0;0.25;0.5;0.75'
run image blend docs/images/scene.png docs/images/layer.png "$images_out/overlay.png" --mode overlay --mix 0.6
run_failing image filter docs/images/scene.png "$images_out/never.png" --filter Sparkle
