// What others make of the glTF files that yfcurve writes: the validator finds nothing wrong, and in three.js the
// joints are where the curves put them.
//
// Set YFCURVE to the program, and MOTIONS to BVH files, separated by colons.

import assert from 'node:assert';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { basename, join } from 'node:path';
import { test } from 'node:test';
import validator from 'gltf-validator';
import { AnimationMixer, Matrix4, Vector3 } from 'three';
import { GLTFLoader } from 'three/addons/loaders/GLTFLoader.js';

const program = process.env.YFCURVE;
const folder = mkdtempSync(join(tmpdir(), 'yfcurve-gltf-'));
process.on('exit', () => rmSync(folder, { recursive: true }));
globalThis.ProgressEvent ??= class extends Event {};

const run = (...words) => execFileSync(program, words, { encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore'] });

/** Joints and end sites of a BVH file: path, parent, offset, channels. */
function skeletonOf(file) {
  const joints = [];
  const open = [];
  for (const line of readFileSync(file, 'latin1').split('MOTION')[0].split(/[\r\n]+/)) {
    const words = line.trim().split(/\s+/);
    const parent = open.at(-1) ?? -1;
    if (/^(ROOT|JOINT|End)$/i.test(words[0])) {
      const name = words.slice(1).join(' ');
      const path = parent < 0 ? name : `${joints[parent].path}/${name}`;
      joints.push({ path, parent, end: words[0].toUpperCase() === 'END', offset: [], channels: [] });
    } else if (words[0] === '{') {
      open.push(joints.length - 1);
    } else if (words[0] === '}') {
      open.pop();
    } else if (words[0] === 'OFFSET') {
      joints.at(-1).offset = words.slice(1).map(Number);
    } else if (words[0] === 'CHANNELS') {
      joints.at(-1).channels = words.slice(2);
    }
  }
  return joints;
}

/** Positions in the world, by the values of the channels at one time. */
function positionsOf(joints, valueOf) {
  const placed = [];
  for (const joint of joints) {
    const place = [...joint.offset];
    const turn = new Matrix4();
    for (const channel of joint.channels) {
      const axis = 'XYZ'.indexOf(channel[0]);
      const value = valueOf(joint.path, channel);
      if (channel.endsWith('position')) place[axis] = value;
      else turn.multiply(new Matrix4()[`makeRotation${channel[0]}`](value * Math.PI / 180));
    }
    const local = new Matrix4().makeTranslation(...place).multiply(turn);
    placed.push(joint.parent < 0 ? local : placed[joint.parent].clone().multiply(local));
  }
  return placed.map((matrix) => new Vector3().setFromMatrixPosition(matrix));
}

async function load(file) {
  const bytes = readFileSync(file);
  const content = bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength);
  return new GLTFLoader().parseAsync(content, '');
}

/** The nodes of the file in its own order. */
async function nodesOf(gltf, count) {
  return Promise.all([...Array(count).keys()].map((index) => gltf.parser.getDependency('node', index)));
}

for (const motion of process.env.MOTIONS.split(':')) {
  const joints = skeletonOf(motion);
  const info = JSON.parse(run('info', motion, '--json'));
  const times = 500;
  const rate = Math.ceil((times - 1) / (info.stop - info.start));
  const [head, ...rows] = run('eval', motion, '--rate', `${rate}`).trim().split('\n').map((row) => row.split(','));
  const columns = new Map(head.map((name, index) => [name.replaceAll('"', ''), index]));

  for (const [ending, ...options] of [['glb'], ['gltf'], ['glb', '--sampled'], ['glb', '--no-mesh']]) {
    test(`${basename(motion)} as ${ending} ${options.join(' ')}`, async () => {
      const file = join(folder, `out.${ending}`);
      run('convert', motion, file, ...options);

      const { issues } = await validator.validateBytes(new Uint8Array(readFileSync(file)));
      assert.deepStrictEqual(issues.messages.filter((message) => message.severity < 2), []);

      const gltf = await load(file);
      const nodes = await nodesOf(gltf, joints.length);
      const mixer = new AnimationMixer(gltf.scene);
      mixer.clipAction(gltf.animations[0]).play();
      let size = 0;
      let worst = 0;
      let moved = 0;
      let first = [];
      for (const row of rows) {
        const time = Number(row[0]);
        // Linear keys are at the frames; between them they follow the curves only roughly.
        const frame = time * info.framesPerSecond;
        if (options.includes('--sampled') && Math.abs(frame - Math.round(frame)) > 1e-6) continue;
        // A mixer at its clip's very end would begin anew.
        mixer.setTime(Math.min(time - info.start, gltf.animations[0].duration * (1 - 1e-7)));
        gltf.scene.updateMatrixWorld(true);
        const expected = positionsOf(joints, (path, channel) => {
          const property = channel.endsWith('position') ? 'Lcl Translation' : 'Lcl Rotation';
          return Number(row[columns.get(`${path}/${property}/${channel[0]}`)]);
        });
        if (first.length === 0) first = expected;
        nodes.forEach((node, index) => {
          const at = new Vector3().setFromMatrixPosition(node.matrixWorld);
          worst = Math.max(worst, at.distanceTo(expected[index]));
          moved = Math.max(moved, expected[index].distanceTo(first[index]));
          size = Math.max(size, expected[index].distanceTo(expected[0]));
        });
      }
      // Each of some ten joints in a chain may be off by a hundredth of a degree, at the skeleton's size.
      const most = 12 * size * 0.01 * Math.PI / 180;
      assert.ok(rows.length >= times && moved > 10 * most, `${rows.length} times, moved by ${moved}`);
      assert.ok(worst < most, `a joint is ${worst} off, more than ${most}`);
      console.log(`${rows.length} times, ${nodes.length} joints, ${worst} off, of ${size}`);
    });
  }
}
