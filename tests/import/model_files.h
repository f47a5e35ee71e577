// Small model files written into a temporary folder: OBJ/MTL text, TGA
// textures and glTF text with its buffer inline.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace e3dtest {

class TempFolder {
public:
    TempFolder() {
        char pattern[] = "/tmp/e3dimport-XXXXXX";
        path_ = mkdtemp(pattern) ? pattern : "/tmp";
    }
    ~TempFolder() { std::filesystem::remove_all(path_); }
    std::string Write(const std::string &name, const std::string &bytes) const {
        const std::string p = path_ + "/" + name;
        FILE *f = std::fopen(p.c_str(), "wb");
        if (f) {
            std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        }
        return p;
    }
    std::string Path(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Uncompressed 32-bit TGA, first row at the top; texels as 0xAARRGGBB.
inline std::string Tga(int w, int h, const std::vector<uint32_t> &argb) {
    std::string s(18, '\0');
    s[2] = 2;
    s[12] = char(w & 255), s[13] = char(w >> 8), s[14] = char(h & 255), s[15] = char(h >> 8);
    s[16] = 32;
    s[17] = 0x28;  // 8 alpha bits, top-left origin
    for (uint32_t p : argb) {
        s += char(p & 255), s += char((p >> 8) & 255), s += char((p >> 16) & 255), s += char(p >> 24);
    }
    return s;
}

inline std::string Base64(const std::vector<uint8_t> &in) {
    static const char *k = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < in.size(); i += 3) {
        const uint32_t n = (uint32_t(in[i]) << 16) | (i + 1 < in.size() ? uint32_t(in[i + 1]) << 8 : 0) |
                           (i + 2 < in.size() ? in[i + 2] : 0);
        out += k[(n >> 18) & 63], out += k[(n >> 12) & 63];
        out += i + 1 < in.size() ? k[(n >> 6) & 63] : '=';
        out += i + 2 < in.size() ? k[n & 63] : '=';
    }
    return out;
}

// glTF 2 writer: accessors over one inline buffer, the rest of the
// document given as JSON text.
class Gltf {
public:
    // An accessor of `count` elements of `type` ("SCALAR", "VEC3", ...) of
    // component type 5126 float, 5123 unsigned short; returns its index.
    template <class T>
    int Add(const std::vector<T> &data, int componentType, int count, const char *type, const char *extra = "") {
        while (bin_.size() % 4) bin_.push_back(0);
        const size_t offset = bin_.size();
        const auto *p = reinterpret_cast<const uint8_t *>(data.data());
        bin_.insert(bin_.end(), p, p + data.size() * sizeof(T));
        views_ += (views_.empty() ? "" : ",") + std::string("{\"buffer\":0,\"byteOffset\":") + std::to_string(offset) +
                  ",\"byteLength\":" + std::to_string(data.size() * sizeof(T)) + "}";
        const int view = viewCount_++;
        accessors_ += (accessors_.empty() ? "" : ",") + std::string("{\"bufferView\":") + std::to_string(view) +
                      ",\"componentType\":" + std::to_string(componentType) + ",\"count\":" + std::to_string(count) +
                      ",\"type\":\"" + type + "\"" + extra + "}";
        return accessorCount_++;
    }
    // The document: `rest` holds the other top-level members.
    std::string Text(const std::string &rest) const {
        return "{\"asset\":{\"version\":\"2.0\"},\"buffers\":[{\"byteLength\":" + std::to_string(bin_.size()) +
               ",\"uri\":\"data:application/octet-stream;base64," + Base64(bin_) + "\"}],\"bufferViews\":[" + views_ +
               "],\"accessors\":[" + accessors_ + "]," + rest + "}";
    }

private:
    std::vector<uint8_t> bin_;
    std::string views_, accessors_;
    int viewCount_ = 0, accessorCount_ = 0;
};

// A two-bone strip: six vertices at x 0..1, y 0, 1, 2; the bottom row on
// bone "root", the top row on bone "joint" (one unit up), the middle row
// half on each (or `middle`); `nanAt` non-zero makes a coordinate NaN. Clip "bend" moves
// root from x 0 to 2 and turns joint about z from 0 to 90 degrees over
// one second.
inline std::string SkinnedStrip(const std::vector<float> &middle = {0.5f, 0.5f}, float nanAt = 0.0f) {
    Gltf g;
    std::vector<float> pos = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 2, 0, 1, 2, 0};
    if (nanAt != 0.0f) pos[4] = NAN;
    const int p = g.Add(pos, 5126, 6, "VEC3", ",\"min\":[0,0,0],\"max\":[1,2,0]");
    const int i = g.Add(std::vector<uint16_t>{0, 1, 3, 0, 3, 2, 2, 3, 5, 2, 5, 4}, 5123, 12, "SCALAR");
    const int j = g.Add(std::vector<uint16_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0},
                        5123, 6, "VEC4");
    const int w = g.Add(std::vector<float>{1, 0, 0, 0, 1, 0, 0, 0, middle[0], middle[1], 0, 0, middle[0], middle[1], 0, 0,
                                           1, 0, 0, 0, 1, 0, 0, 0},
                        5126, 6, "VEC4");
    const int ibm = g.Add(std::vector<float>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1,
                                             1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, -1, 0, 1},
                          5126, 2, "MAT4");
    const int t = g.Add(std::vector<float>{0, 1}, 5126, 2, "SCALAR", ",\"min\":[0],\"max\":[1]");
    const float s = std::sqrt(0.5f);
    const int r = g.Add(std::vector<float>{0, 0, 0, 1, 0, 0, s, s}, 5126, 2, "VEC4");
    const int m = g.Add(std::vector<float>{0, 0, 0, 2, 0, 0}, 5126, 2, "VEC3");
    const auto n = [](int v) { return std::to_string(v); };
    return g.Text(
        "\"scene\":0,\"scenes\":[{\"nodes\":[0,1]}],"
        "\"nodes\":[{\"name\":\"strip\",\"mesh\":0,\"skin\":0},{\"name\":\"root\",\"children\":[2]},"
        "{\"name\":\"joint\",\"translation\":[0,1,0]}],"
        "\"meshes\":[{\"primitives\":[{\"attributes\":{\"POSITION\":" + n(p) + ",\"JOINTS_0\":" + n(j) +
        ",\"WEIGHTS_0\":" + n(w) + "},\"indices\":" + n(i) + "}]}],"
        "\"skins\":[{\"joints\":[1,2],\"inverseBindMatrices\":" + n(ibm) + "}],"
        "\"animations\":[{\"name\":\"bend\",\"samplers\":[{\"input\":" + n(t) + ",\"output\":" + n(r) +
        "},{\"input\":" + n(t) + ",\"output\":" + n(m) + "}],\"channels\":[{\"sampler\":0,\"target\":{\"node\":2,"
        "\"path\":\"rotation\"}},{\"sampler\":1,\"target\":{\"node\":1,\"path\":\"translation\"}}]}]");
}

// Two nodes sharing a unit triangle: "base" at x = 1, and below it "arm",
// one unit up and twice the size; clip "lift" raises arm from y 1 to 3
// over two seconds. `index` replaces the triangle's last index.
inline std::string TwoNodes(uint16_t index = 2) {
    Gltf g;
    const int p = g.Add(std::vector<float>{0, 0, 0, 1, 0, 0, 0, 1, 0}, 5126, 3, "VEC3", ",\"min\":[0,0,0],\"max\":[1,1,0]");
    const int i = g.Add(std::vector<uint16_t>{0, 1, index, 0}, 5123, 3, "SCALAR");
    const int t = g.Add(std::vector<float>{0, 2}, 5126, 2, "SCALAR", ",\"min\":[0],\"max\":[2]");
    const int m = g.Add(std::vector<float>{0, 1, 0, 0, 3, 0}, 5126, 2, "VEC3");
    const auto n = [](int v) { return std::to_string(v); };
    return g.Text("\"scene\":0,\"scenes\":[{\"nodes\":[0]}],"
                  "\"nodes\":[{\"name\":\"base\",\"mesh\":0,\"translation\":[1,0,0],\"children\":[1]},"
                  "{\"name\":\"arm\",\"mesh\":0,\"translation\":[0,1,0],\"scale\":[2,2,2]}],"
                  "\"meshes\":[{\"primitives\":[{\"attributes\":{\"POSITION\":" + n(p) + "},\"indices\":" + n(i) +
                  "}]}],"
                  "\"animations\":[{\"name\":\"lift\",\"samplers\":[{\"input\":" + n(t) + ",\"output\":" + n(m) +
                  "}],\"channels\":[{\"sampler\":0,\"target\":{\"node\":1,\"path\":\"translation\"}}]}]");
}

// A unit quad in z = 0, facing the engine's -z (toward a camera in front), textured by `texture` through an MTL file.
// The texture repeats `tiles` times across it.
inline std::string QuadObj(const std::string &mtl, const std::string &extraFaces = "", int tiles = 1) {
    const std::string t = std::to_string(tiles);
    return "mtllib " + mtl + "\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt " + t + " 0\nvt " + t + " " + t +
           "\nvt 0 " + t + "\nusemtl skin\nf 1/1 2/2 3/3 4/4\n" + extraFaces;
}

inline std::string Mtl(const std::string &texture) {
    return "newmtl skin\nKa 0 0 0\nKd 1 0.5 0.25\nKs 0.5 0.5 0.5\nNs 20\n" +
           (texture.empty() ? std::string() : "map_Kd " + texture + "\n");
}

}  // namespace e3dtest
