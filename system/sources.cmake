target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/system/trace.cpp
    ${PROJECT_SOURCE_DIR}/system/pcSimSystem.cpp
    ${PROJECT_SOURCE_DIR}/system/systemOps.cpp
)
