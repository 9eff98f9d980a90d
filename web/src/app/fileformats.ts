import type { Format } from "../engine/engine";

/** The formats in which a motion can be saved, as the menu names them and with the ending of their files. */
export const kSaveFormats: readonly { format: Format; title: string; ending: string }[] = [
  { format: "bvh", title: "BVH", ending: ".bvh" },
  { format: "bvh.gz", title: "BVH, packed", ending: ".bvh.gz" },
  { format: "ytalo", title: "Scene with all keys and layers", ending: ".ytalo" },
  { format: "ytalo.gz", title: "Scene, packed", ending: ".ytalo.gz" },
  { format: "glb", title: "glTF, binary", ending: ".glb" },
  { format: "gltf", title: "glTF, text", ending: ".gltf" },
];

const kKnownEnding = /\.(bvh|ytalo|glb|gltf)(\.gz)?$/i;

/** The name of a file with the ending that goes with a format. */
export function fileNameFor(name: string, format: Format): string {
  return `${name.replace(kKnownEnding, "")}.${format}`;
}

/** What the file picker offers. */
export const kOpenEndings = ".bvh,.ytalo,.glb,.gltf,.gz";
