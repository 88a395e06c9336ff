target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/device/pcSimDevice.cpp)
