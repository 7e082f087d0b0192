// The resource store: upload by the presenter, download by every device.

import { parseUploadForm } from './multipart.js';
import { failures, successBody } from './reply.js';

export function resourceRoutes({ resources }) {
  return {
    '/vantora/resource/uploadResourceFile': { anyBody: true, handle: upload },
    '/vantora/resource/downloadResourceFile': { open: true, method: 'GET', handle: download },
  };

  function upload({ headers, bytes, remark }) {
    let form;
    try {
      form = parseUploadForm(headers['content-type'], bytes);
    } catch (error) {
      remark(error.message);
      throw failures.malformedUpload();
    }
    return { body: successBody(resources.add(form.fileName, form.file), { infoMsgKeys: ['resource.upload.success'] }) };
  }

  function download({ query }) {
    const resource = resources.get(query.get('resourceId'));
    if (!resource) {
      throw failures.unknownResource();
    }
    return { body: resource.bytes, contentType: resource.contentType };
  }
}
