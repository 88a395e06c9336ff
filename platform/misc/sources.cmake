target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/misc/pcSimSampling.cpp
    ${PROJECT_SOURCE_DIR}/platform/misc/pcSimPoe.cpp)
