target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/env/pcSimFan.cpp
    ${PROJECT_SOURCE_DIR}/env/pcSimPowerSupply.cpp)
