# Runs `velmora image filters` (TOOL) and fails unless it lists one class from every
# source file that registers filters. A static archive drops objects nothing names, and
# these registrations are such objects, so a static build that loses them lists less.
#   cmake -DTOOL=path/to/velmora -P CheckFilterCatalogue.cmake
set(expected
    GLImageGaussianBlurFilter                 # GLImageGaussianBlurFilter.cpp
    GLImageSingleComponentGaussianBlurFilter  # its own source
    GLImageBoxBlurFilter
    GLImageCropFilter
    GLImageToneCurveFilter
    GLImageBrightnessFilter                   # the colour adjustment table
    GLImageMultiplyBlendFilter                # the blend table
    GLImageSharpenFilter)                     # the neighbourhood table
execute_process(COMMAND "${TOOL}" image filters
    OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "velmora image filters ended with ${status}: ${errors}")
endif()
set(missing "")
foreach(name IN LISTS expected)
    if(NOT listing MATCHES "(^|\n)${name}( \\(two images\\))?: ")
        list(APPEND missing ${name})
    endif()
endforeach()
if(missing)
    message(FATAL_ERROR "velmora image filters does not list: ${missing}\n${listing}")
endif()
message(STATUS "velmora image filters lists every registering source's filters")
