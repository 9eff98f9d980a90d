import type { Format } from "../engine/engine";

/** The formats in which a motion can be saved, as the menu names them. A format is the ending of its files, without the point. */
export const kSaveFormats: readonly { format: Format; title: string }[] = [
  { format: "bvh", title: "BVH" },
  { format: "bvh.gz", title: "BVH, packed" },
  { format: "ytalo", title: "Scene with all keys and layers" },
  { format: "ytalo.gz", title: "Scene, packed" },
  { format: "glb", title: "glTF, binary" },
  { format: "gltf", title: "glTF, text" },
];

const kKnownEnding = /\.(bvh|ytalo|glb|gltf)(\.gz)?$/i;

/** The name of a file with the ending that goes with a format. */
export function fileNameFor(name: string, format: Format): string {
  return `${name.replace(kKnownEnding, "")}.${format}`;
}

/** Whether files of a format keep layers; others get what plays with all of them together. */
export function holdsLayers(format: Format): boolean {
  return format.startsWith("ytalo");
}

/** What the file picker offers. */
export const kOpenEndings = ".bvh,.ytalo,.glb,.gltf,.gz";
