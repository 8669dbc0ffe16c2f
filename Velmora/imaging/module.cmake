# The imaging module's GL layer lives in gl/; velmora_add_module only globs the folder itself.
file(GLOB imaging_gl_sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/gl/*.cpp")
target_sources(velmora_imaging PRIVATE ${imaging_gl_sources})
