include(${CMAKE_CURRENT_LIST_DIR}/CC_InterfaceTargets.cmake)
