target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/env/pcSimFan.cpp
    ${PROJECT_SOURCE_DIR}/platform/env/pcSimPowerSupply.cpp)
