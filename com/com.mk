# Tavlin.dll, the in-process COM server, cross-compiled with MinGW-w64 for 32-bit
# (i686, what existing hosts load) and 64-bit Windows from the same sources:
#   build-com/<arch>/Tavlin.dll
# Included by the top Makefile; paths are from the repository's root.
COM_BUILD  ?= build-com
COM_ARCHES := i686 x86_64
WINE_IDL   := /usr/include/wine/wine/windows
STDOLE_DIR := /usr/lib/x86_64-linux-gnu/wine/x86_64-windows

COM_CXXFLAGS := -std=c++20 -O2 -Wall -Wextra -Wno-restrict -Iinclude -Isrc -Icom -D_WIN32_WINNT=0x0601 -MMD -MP
COM_LIBS     := -loleaut32 -lole32 -luuid -ladvapi32
LIB_SOURCES  := $(sort $(shell find src -name '*.cpp'))
COM_SOURCES  := $(sort $(wildcard com/*.cpp))

# One set of rules for each architecture.
define com_arch
$(1)_DIR  := $(COM_BUILD)/$(1)
$(1)_CXX  := $(1)-w64-mingw32-g++
$(1)_OBJS := $$(patsubst %.cpp,$$($(1)_DIR)/obj/%.o,$(LIB_SOURCES) $(COM_SOURCES))

# The type library and its C++ header come from the IDL, with widl.
$$($(1)_DIR)/gen/tavlin_idl.h $$($(1)_DIR)/gen/tavlin.tlb $$($(1)_DIR)/gen/tavlin_idl_i.c &: com/tavlin.idl com/guids.h
	@mkdir -p $$(@D)
	@$(1)-w64-mingw32-widl -Icom -I$(WINE_IDL) -L$(STDOLE_DIR) -t -h -u \
	  -H $$($(1)_DIR)/gen/tavlin_idl.h -T $$($(1)_DIR)/gen/tavlin.tlb -U $$($(1)_DIR)/gen/tavlin_idl_i.c com/tavlin.idl

$$($(1)_DIR)/obj/%.o: %.cpp
	@mkdir -p $$(@D)
	@$$($(1)_CXX) $$(COM_CXXFLAGS) -c $$< -o $$@

$$(patsubst %.cpp,$$($(1)_DIR)/obj/%.o,$(COM_SOURCES)): $$($(1)_DIR)/gen/tavlin_idl.h
$$(patsubst %.cpp,$$($(1)_DIR)/obj/%.o,$(COM_SOURCES)): COM_CXXFLAGS += -I$$($(1)_DIR)/gen

$$($(1)_DIR)/obj/tavlin_idl_i.o: $$($(1)_DIR)/gen/tavlin_idl_i.c
	@$(1)-w64-mingw32-gcc -c $$< -o $$@

$$($(1)_DIR)/obj/resources.o: com/tavlin.rc $$($(1)_DIR)/gen/tavlin.tlb
	@mkdir -p $$(@D)
	@$(1)-w64-mingw32-windres -I$$($(1)_DIR)/gen com/tavlin.rc -O coff -o $$@

$$($(1)_DIR)/Tavlin.dll: $$($(1)_OBJS) $$($(1)_DIR)/obj/tavlin_idl_i.o $$($(1)_DIR)/obj/resources.o com/tavlin.def
	@echo "linking $$@"
	@$$($(1)_CXX) -shared -static -o $$@ $$($(1)_OBJS) $$($(1)_DIR)/obj/tavlin_idl_i.o \
	  $$($(1)_DIR)/obj/resources.o com/tavlin.def $(COM_LIBS) -Wl,--enable-stdcall-fixup

-include $$($(1)_OBJS:.o=.d)
endef

$(foreach a,$(COM_ARCHES),$(eval $(call com_arch,$(a))))

# The C++ test host, for the architecture Wine runs here.
$(COM_BUILD)/x86_64/tavlin-host.exe: com/tests/host.cpp $(COM_BUILD)/x86_64/obj/tavlin_idl_i.o
	@echo "linking $@"
	@x86_64-w64-mingw32-g++ -std=c++20 -O2 -Wall -Wextra -municode -I$(COM_BUILD)/x86_64/gen \
	  -static -o $@ $< $(COM_BUILD)/x86_64/obj/tavlin_idl_i.o -loleaut32 -lole32 -luuid

com-dlls: $(foreach a,$(COM_ARCHES),$(COM_BUILD)/$(a)/Tavlin.dll) $(COM_BUILD)/x86_64/tavlin-host.exe
