# Builds the program as frameworks that test engines ask for it: make EXE=NAME [CXX=COMPILER] [-jN]
#
# CMake does the work, in a folder for each compiler below BUILD; no tests are built. ./run.sh and
# the presets of CMake are better for all else.

EXE := mird
BUILD := build/make
CMAKE := cmake

# Without CXX it is CMake that chooses; make has a default of its own.
ifneq ($(origin CXX),default)
compiler := CXX='$(CXX)'
folder := $(BUILD)/$(shell printf %s '$(CXX)' | tr -c 'A-Za-z0-9.+-' _)
else
folder := $(BUILD)/default
endif

# The variables above are not for the makefiles that CMake writes; -j is.
MAKEOVERRIDES :=

.PHONY: all
all:
	@$(compiler) $(CMAKE) -S . -B '$(folder)' -G 'Unix Makefiles' -DCMAKE_BUILD_TYPE=Release \
		-DMIRD_BUILD_TESTS=OFF
	+@$(CMAKE) --build '$(folder)' --target mird
	@cp '$(folder)/mird' '$(EXE)'
