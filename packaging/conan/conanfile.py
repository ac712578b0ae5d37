"""Conan 2 recipe over the checkout that it stands in: conan create packaging/conan"""
import os
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load, rmdir


class TnKits(ConanFile):
    name = "tn_kits"
    description = "Camera frames to network tensors, and boxes tracked from frame to frame"
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}
    implements = ["auto_shared_fpic"]

    def _checkout(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        text = load(self, os.path.join(self._checkout(), "CMakeLists.txt"))
        self.version = re.search(r"project\(tn_kits VERSION (\d+\.\d+\.\d+)", text).group(1)

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "cmake/*", "common/*", "platform/*", "tarnkit/*"):
            copy(self, pattern, self._checkout(), self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def requirements(self):
        self.requires("eigen/3.4.0", transitive_headers=True)
        self.requires("highway/1.0.3")

    def validate(self):
        check_min_cppstd(self, 17)
        if self.settings.arch != "x86_64":
            raise ConanInvalidConfiguration("the kernels are written for x86-64")

    def generate(self):
        toolchain = CMakeToolchain(self)
        for option in ("TN_KITS_BUILD_TESTS", "TN_KITS_BUILD_APPS", "TN_KITS_BUILD_BENCHMARKS"):
            toolchain.cache_variables[option] = False
        # Networks would bring OpenCV along; tensors, kernels and trackers do without.
        toolchain.cache_variables["TN_CNN_ENGINE"] = "none"
        toolchain.generate()
        # The names that the dependencies' own CMake packages have.
        dependencies = CMakeDeps(self)
        dependencies.set_property("highway", "cmake_file_name", "hwy")
        dependencies.set_property("highway::hwy", "cmake_target_name", "hwy::hwy")
        dependencies.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        # Conan writes these itself, from package_info.
        for folder in ("cmake", "pkgconfig"):
            rmdir(self, os.path.join(self.package_folder, "lib", folder))

    def package_info(self):
        needs = {
            "tn_core": [],
            "tn_cnn": ["tn_core", "highway::hwy"],
            "tn_kits": ["tn_cnn", "tn_core", "eigen::eigen", "highway::hwy"],
        }
        for lib, requires in needs.items():
            component = self.cpp_info.components[lib]
            component.libs = [lib]
            component.includedirs = [os.path.join("include", "tn_kits")]
            component.requires = requires
            component.set_property("cmake_target_name", f"{lib}::{lib}")
            component.set_property("pkg_config_name", lib)
            if not self.options.shared:
                component.defines = [f"{lib.upper()}_STATIC"]
