target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/device/pcSimDevice.cpp)
