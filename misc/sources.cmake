target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/misc/pcSimSampling.cpp
    ${PROJECT_SOURCE_DIR}/misc/pcSimPoe.cpp)
