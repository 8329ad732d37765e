"""Conan 2: conan create packaging/conan"""
import os

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.gnu import PkgConfigDeps


class VelmoraKit(ConanFile):
    name = "velmorakit"
    version = "1.0.0"
    description = "Embeddable consent and device reporting for Linux applications"
    settings = "os", "arch", "compiler", "build_type"
    package_type = "shared-library"

    def export_sources(self):
        tree = os.path.join(self.recipe_folder, os.pardir, os.pardir)
        for kept in ("CMakeLists.txt", "LICENSE", "README.md", "THIRD-PARTY.md", "SECURITY.md",
                     "CHANGELOG.md", "sbom.spdx.json", "cmake/*", "docs/*", "examples/*",
                     "include/*", "src/*"):
            copy(self, kept, tree, self.export_sources_folder)

    def requirements(self):
        for package in ("libcurl/[>=7.88]", "openssl/[>=3 <4]", "sqlite3/[>=3.37]",
                        "zlib/[>=1.2.13]", "utf8proc/[>=2.6]", "rapidjson/[>=1.1]",
                        "msgpack-cxx/[>=4.1]"):
            self.requires(package)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for part in ("TOOLS", "TESTS", "EXAMPLES"):
            toolchain.variables["VELMORAKIT_BUILD_" + part] = False
        toolchain.generate()
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "VelmoraKit")
        self.cpp_info.set_property("cmake_target_name", "VelmoraKit::VelmoraKit")
        self.cpp_info.set_property("pkg_config_name", "velmorakit")
        self.cpp_info.libs = ["VelmoraKit"]
