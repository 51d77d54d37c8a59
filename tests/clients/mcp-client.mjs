// mcp-client.mjs SDK URL: an AI client, built on the official SDK ("sdk" or "client", its successor).
// MCP_CLIENTS is the folder with the packages and MCP_KEY the key. It connects and says how the server
// introduced itself; then it carries out requests, one JSON object a line, as they come:
//   {"number": 1, "method": "callTool", "params": {"name": "get_vocabulary"}}
// and answers each when it is done: {"number": 1, "result": …} or {"number": 1, "error": "…", "code": …},
// where the code is the HTTP status or that of the operating system.
// It closes its connections when its input ends.

import {createRequire} from 'node:module';
import {createInterface} from 'node:readline';

const require = createRequire(`${process.env.MCP_CLIENTS}/`);
const sdks = {
  sdk: () => ({
    ...require('@modelcontextprotocol/sdk/client/index.js'),
    ...require('@modelcontextprotocol/sdk/client/streamableHttp.js'),
  }),
  client: () => require('@modelcontextprotocol/client'),
};
// Longer than what any tool is asked to wait for in a test.
const patience = {timeout: 120_000};

const methods = {
  ping: client => client.ping(patience),
  listTools: client => client.listTools({}, patience),
  // Between its parameters and its options the older SDK has one more argument.
  callTool: (client, params) => name === 'sdk' ? client.callTool(params, undefined, patience)
                                               : client.callTool(params, patience),
};

const [name, url] = process.argv.slice(2);
const say = answer => console.log(JSON.stringify(answer));
const fault = error => ({error: error.message, code: error.status ?? error.code ?? error.cause?.code});
const outcome = promise => promise.then(result => ({result}), fault);

async function connect() {
  const {Client, StreamableHTTPClientTransport} = sdks[name]();
  const client = new Client({name: `quillet-test-${name}`, version: '1'});
  const headers = {Authorization: `Bearer ${process.env.MCP_KEY}`};
  await client.connect(new StreamableHTTPClientTransport(new URL(url), {requestInit: {headers}}));
  return client;
}

function introduction(client) {
  return {...client.getServerVersion(), capabilities: client.getServerCapabilities(),
          instructions: client.getInstructions()};
}

async function serve(client) {
  for await (const line of createInterface({input: process.stdin})) {
    const {number, method, params} = JSON.parse(line);
    outcome(methods[method](client, params)).then(answer => say({number, ...answer}));
  }
  await client.close();
}

let client;
const connected = await outcome(connect().then(made => introduction(client = made)));
say(connected);
if (client) await serve(client);
