# SPDX-License-Identifier: MIT
# cmake -DREADME=... -DOUT=... -DPYTHON=... -P readme.cmake
#
# Runs the pytest bench of README's Python section as it stands there: the
# fenced block whose first line is "# test_pump_station.py".
file(READ ${README} text)
string(FIND "${text}" "```python\n# test_pump_station.py" start)
if(start LESS 0)
    message(FATAL_ERROR "README.md has no block starting with # test_pump_station.py")
endif()
string(SUBSTRING "${text}" ${start} -1 text)
string(LENGTH "```python\n" skip)
string(SUBSTRING "${text}" ${skip} -1 text)
string(FIND "${text}" "\n```" end)
string(SUBSTRING "${text}" 0 ${end} bench)
file(REMOVE_RECURSE ${OUT})
file(WRITE ${OUT}/test_pump_station.py "${bench}\n")
execute_process(COMMAND ${PYTHON} -m pytest -q -p no:cacheprovider ${OUT}/test_pump_station.py
    RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "README's bench failed (${rc})")
endif()
