target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/system/pcSimSystem.cpp
    ${PROJECT_SOURCE_DIR}/platform/system/systemOps.cpp
)
